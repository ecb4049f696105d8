#include "Varnel/Models/StoreSchema.h"

#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Models/StoreStatement.h"

#include <SQLiteCpp/Database.h>
#include <fmt/format.h>

#include <array>
#include <fstream>
#include <set>

namespace Varnel::StoreSchema {

namespace {

std::int64_t pragma(StoreConnection& connection, const char* name) {
    StoreStatement statement(connection, fmt::format("PRAGMA {}", name));
    statement.next();
    return statement.integer(0);
}

std::set<QString> names(StoreConnection& connection) {
    std::set<QString> result;
    StoreStatement statement(connection, "SELECT name FROM sqlite_schema");
    while (statement.next()) {
        result.insert(statement.text(0));
    }
    return result;
}

[[noreturn]] void failFutureVersion(const std::filesystem::path& file, std::int64_t found) {
    throw StoreError(
        StoreError::Case::futureVersion,
        fmt::format("the store '{}' was written by a later version (schema {}.{}.{}, this program knows {})",
                    file.string(), found / 10000, found / 100 % 100, found % 100, ModelContainer::schemaVersion));
}

void create(StoreConnection& connection) {
    // Outside of WAL first, so that the header of the file itself tells whose it is from the first moment on.
    connection.execute("BEGIN IMMEDIATE");
    try {
        if (names(connection).empty()) { // no other process was faster
            connection.execute(tables);
            connection.execute(searchIndex);
            connection.execute(
                fmt::format("INSERT INTO store VALUES('schemaVersion', '{}')", ModelContainer::schemaVersion));
            connection.execute(fmt::format("PRAGMA application_id = {}", applicationId));
            connection.execute(fmt::format("PRAGMA user_version = {}", version));
        }
        connection.execute("COMMIT");
    } catch (...) {
        connection.database().tryExec("ROLLBACK");
        throw;
    }
}

void check(StoreConnection& connection) {
    if (pragma(connection, "application_id") != applicationId) {
        throw StoreError(
            StoreError::Case::cannotOpen,
            fmt::format("cannot open the store '{}': it is another program's database", connection.file().string()));
    }
    if (const auto found = pragma(connection, "user_version"); found > version) {
        failFutureVersion(connection.file(), found);
    }
    const auto present = names(connection);
    for (const char* const table : {"store", "meetings", "speakers", "segments", "voiceDigests", "meetingIndex",
                                    "speakerIndex", "segmentIndex"}) {
        if (!present.contains(QString::fromLatin1(table))) {
            throw StoreError(StoreError::Case::damaged,
                             fmt::format("the store '{}' is damaged: it has no {}", connection.file().string(), table));
        }
    }
}

} // namespace

void prepare(StoreConnection& connection) {
    if (names(connection).empty()) {
        create(connection);
    }
    check(connection);
}

void refuseFutureVersion(const std::filesystem::path& file) {
    // The database header: its magic at byte 0, the user version at 60 and the application's id at 68, big-endian.
    std::array<unsigned char, 100> header{};
    std::ifstream stream(file, std::ios::binary);
    stream.read(reinterpret_cast<char*>(header.data()), header.size());
    if (!stream) {
        return;
    }
    const auto number = [&](std::size_t at) {
        return (std::int64_t{header[at]} << 24) | (header[at + 1] << 16) | (header[at + 2] << 8) | header[at + 3];
    };
    if (number(68) == applicationId && number(60) > version) {
        failFutureVersion(file, number(60));
    }
}

} // namespace Varnel::StoreSchema
