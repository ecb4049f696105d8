#pragma once

#include "Varnel/Models/StoreError.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>

namespace SQLite {
class Database;
class Statement;
} // namespace SQLite

namespace Varnel {

// One SQLite connection to the store, with what every connection needs set, and its prepared statements. One thread
// at a time.
class StoreConnection {
public:
    enum class Access { readWrite, readOnly };

    static constexpr std::chrono::milliseconds defaultBusyTimeout{5000};

    // Throws StoreError. `readWrite` makes an absent file, but neither a folder nor a schema.
    StoreConnection(const std::filesystem::path& file, Access access,
                    std::chrono::milliseconds busyTimeout = defaultBusyTimeout);
    // In memory.
    StoreConnection();
    ~StoreConnection();

    const std::filesystem::path& file() const { return file_; } // empty in memory

    SQLite::Database& database() { return *database_; }

    // Runs statements that give no rows. Throws StoreError.
    void execute(const std::string& sql);
    // A value that changes when another connection has committed.
    std::int64_t dataVersion();

    // Throws the StoreError for an SQLite result code.
    [[noreturn]] void fail(int code, const std::string& what, StoreError::Case otherwise) const;

private:
    friend class StoreStatement;

    std::filesystem::path file_;
    std::unique_ptr<SQLite::Database> database_;
    std::unordered_map<std::string, std::unique_ptr<SQLite::Statement>> idleStatements_;
};

} // namespace Varnel
