#include "Varnel/Models/StoreConnection.h"

#include "Varnel/Models/StoreStatement.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <fmt/format.h>
#include <sqlite3.h>

namespace Varnel {

namespace {

// Enough that the pages of one meeting's save, its indexes included, stay in memory.
constexpr int cacheKiB = 65536;

} // namespace

StoreConnection::StoreConnection(const std::filesystem::path& file, Access access,
                                 std::chrono::milliseconds busyTimeout)
    : file_(file) {
    const int flags =
        access == Access::readWrite ? SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE : SQLite::OPEN_READONLY;
    try {
        database_ = std::make_unique<SQLite::Database>(file.string(), flags, static_cast<int>(busyTimeout.count()));
    } catch (const SQLite::Exception& error) {
        fail(error.getErrorCode(), "open", StoreError::Case::cannotOpen);
    }
    sqlite3_extended_result_codes(database_->getHandle(), 0);
    execute(fmt::format("PRAGMA cache_size = -{}", cacheKiB));
    execute("PRAGMA foreign_keys = ON");
    execute("PRAGMA synchronous = FULL");
}

StoreConnection::StoreConnection()
    : database_(std::make_unique<SQLite::Database>(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)) {
    execute("PRAGMA foreign_keys = ON");
}

StoreConnection::~StoreConnection() {
    idleStatements_.clear();
}

void StoreConnection::execute(const std::string& sql) {
    if (const int code = database_->tryExec(sql); code != SQLITE_OK) {
        fail(code, "change", StoreError::Case::writeFailed);
    }
}

std::int64_t StoreConnection::dataVersion() {
    StoreStatement version(*this, "PRAGMA data_version");
    version.next();
    return version.integer(0);
}

void StoreConnection::fail(int code, const std::string& what, StoreError::Case otherwise) const {
    const std::string reason = database_ ? sqlite3_errmsg(database_->getHandle()) : sqlite3_errstr(code);
    StoreError::Case error = otherwise;
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        error = StoreError::Case::busy;
        break;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        error = StoreError::Case::damaged;
        break;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        error = StoreError::Case::cannotOpen;
        break;
    default:
        break;
    }
    const std::string name = file_.empty() ? std::string("in memory") : fmt::format("'{}'", file_.string());
    throw StoreError(error, fmt::format("cannot {} the store {}: {}", what, name, reason));
}

} // namespace Varnel
