#include "Varnel/Models/StoreRepair.h"

#include "Varnel/Models/SearchIndex.h"
#include "Varnel/Models/StoreFile.h"
#include "Varnel/Models/StoreSalvage.h"
#include "Varnel/Models/StoreSchema.h"
#include "Varnel/Models/StoreStatement.h"

#include <SQLiteCpp/Database.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace Varnel {

namespace fs = std::filesystem;

namespace {

constexpr const char* companions[] = {"", "-wal", "-shm"};

// Opens for reading and writing, but leaves the write-ahead log as it is at the end: nothing of a damaged store is
// changed by looking at it.
std::unique_ptr<StoreConnection> openAsItIs(const fs::path& store) {
    auto connection = std::make_unique<StoreConnection>(store, StoreConnection::Access::readWrite);
    sqlite3_db_config(connection->database().getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return connection;
}

bool isDamage(const StoreError& error) {
    return error.error() == StoreError::Case::damaged || error.error() == StoreError::Case::readFailed;
}

bool hasTables(StoreConnection& connection, const char* condition, std::int64_t count) {
    StoreStatement statement(connection,
                             fmt::format("SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND {}", condition));
    statement.next();
    return statement.integer(0) == count;
}

// How many rows a full-text index says it holds: the first number, of seven bits a byte, of its record of totals.
std::int64_t indexedRows(StoreConnection& connection, const char* index) {
    StoreStatement statement(connection, fmt::format("SELECT block FROM {}_data WHERE id = 1", index));
    std::int64_t rows = 0;
    if (statement.next()) {
        for (const std::byte byte : statement.blob(0).first(std::min<std::size_t>(8, statement.blob(0).size()))) {
            rows = (rows << 7) | std::to_integer<std::int64_t>(byte & std::byte{0x7f});
            if ((byte & std::byte{0x80}) == std::byte{0}) {
                break;
            }
        }
    }
    return rows;
}

bool isIndexSound(StoreConnection& connection) {
    if (!hasTables(connection, "name IN ('meetingIndex', 'speakerIndex', 'segmentIndex')", 3)) {
        return false;
    }
    constexpr std::pair<const char*, const char*> indexes[] = {
        {"meetingIndex", "meetings"}, {"speakerIndex", "speakers"}, {"segmentIndex", "segments"}};
    for (const auto& [index, table] : indexes) {
        if (connection.database().tryExec(fmt::format("INSERT INTO {0}({0}) VALUES('integrity-check')", index)) !=
            SQLITE_OK) {
            return false;
        }
        StoreStatement rows(connection, fmt::format("SELECT count(*) FROM {}", table));
        rows.next();
        if (rows.integer(0) != indexedRows(connection, index)) {
            return false;
        }
    }
    return true;
}

StoreRepair::Condition condition(StoreConnection& connection) {
    using Condition = StoreRepair::Condition;
    if (!hasTables(connection, "name IN ('store', 'meetings', 'speakers', 'segments', 'voiceDigests')", 5)) {
        return Condition::damaged;
    }
    for (const char* const check : {"PRAGMA integrity_check(1)", "PRAGMA foreign_key_check"}) {
        StoreStatement statement(connection, check);
        if (statement.next() && statement.text(0) != QStringLiteral("ok")) {
            return Condition::damaged;
        }
    }
    return isIndexSound(connection) ? Condition::sound : Condition::indexDamaged;
}

// Nobody else has the store open, unless it is too damaged to be anybody's. Exclusive locking from the first access on
// meets the lock that every open connection holds.
void refuseIfInUse(const fs::path& store) {
    SQLite::Database database(store.string(), SQLite::OPEN_READWRITE);
    sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    database.tryExec("PRAGMA locking_mode = EXCLUSIVE");
    if (database.tryExec("BEGIN EXCLUSIVE") == SQLITE_BUSY) {
        throw StoreError(StoreError::Case::busy,
                         fmt::format("cannot repair the store '{}': another program is using it", store.string()));
    }
    database.tryExec("ROLLBACK");
}

fs::path freeName(const fs::path& store, const QDateTime& now) {
    const std::string stamp = now.toString(QStringLiteral("yyyyMMdd-HHmmss")).toStdString();
    for (int number = 1;; ++number) {
        fs::path name = fmt::format("{}.damaged-{}{}", store.string(), stamp,
                                    number == 1 ? std::string() : fmt::format("-{}", number));
        if (!fs::exists(name)) {
            return name;
        }
    }
}

void move(const fs::path& from, const fs::path& to) {
    for (const char* const companion : companions) {
        std::error_code error;
        const fs::path source = from.string() + companion;
        if (fs::exists(source, error)) {
            fs::rename(source, to.string() + companion, error);
        }
        if (error) {
            throw StoreError(StoreError::Case::writeFailed, fmt::format("cannot move '{}' to '{}': {}", source.string(),
                                                                        to.string() + companion, error.message()));
        }
    }
}

} // namespace

StoreRepair::Condition StoreRepair::examine(const fs::path& store) {
    StoreFile::prepare(store);
    StoreSchema::refuseFutureVersion(store);
    try {
        const auto connection = openAsItIs(store);
        if (hasTables(*connection, "true", 0)) {
            return Condition::sound; // made at the first use
        }
        return condition(*connection);
    } catch (const StoreError& error) {
        if (!isDamage(error)) {
            throw;
        }
        return Condition::damaged;
    }
}

StoreRepair::Report StoreRepair::repair(const fs::path& store, const QDateTime& now) {
    Report report;
    const Condition found = examine(store);
    if (found == Condition::sound) {
        return report;
    }
    refuseIfInUse(store);
    if (found == Condition::indexDamaged) {
        try {
            StoreConnection connection(store, StoreConnection::Access::readWrite);
            SearchIndex(connection).rebuild();
            report.isIndexRebuilt = true;
            return report;
        } catch (const StoreError& error) {
            if (!isDamage(error) && error.error() != StoreError::Case::writeFailed) {
                throw;
            }
        }
    }
    const fs::path fresh = store.string() + ".repairing";
    for (const char* const companion : companions) {
        std::error_code ignored;
        fs::remove(fresh.string() + companion, ignored); // of an attempt that was cut off
    }
    StoreFile::prepare(fresh);
    {
        StoreConnection target(fresh, StoreConnection::Access::readWrite);
        StoreSchema::prepare(target);
        try {
            const auto source = openAsItIs(store);
            salvage(*source, target, now, report);
        } catch (const StoreError& error) {
            if (!isDamage(error)) {
                throw;
            }
            ++report.unreadableRanges; // not even the list of tables
        }
    }
    report.setAside = freeName(store, now);
    move(store, report.setAside);
    move(fresh, store);
    return report;
}

} // namespace Varnel
