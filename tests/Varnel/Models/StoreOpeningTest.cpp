#include "Varnel/Models/StoreTesting.h"

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace Varnel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::string bytes(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

// The error of opening, whose text is one line and begins as every failure to open does.
StoreError::Case failure(const fs::path& file, const std::string& saying) {
    try {
        const ModelContainer container(file, 1ms);
    } catch (const StoreError& error) {
        EXPECT_THAT(error.what(), testing::StartsWith("Failed to create ModelContainer: "));
        EXPECT_THAT(error.what(), testing::HasSubstr(saying));
        EXPECT_THAT(error.what(), testing::HasSubstr(file.filename().string()));
        EXPECT_THAT(error.what(), testing::Not(testing::HasSubstr("\n")));
        return error.error();
    }
    ADD_FAILURE() << "the store opened";
    return {};
}

fs::perms permissions(const fs::path& file) {
    return fs::status(file).permissions();
}

TEST(StoreOpening, MakesAPrivateStoreInAPrivateFolder) {
    StoreFolder folder;
    ModelContainer container(folder.file());
    container.mainContext().insert(makeMeeting());
    container.mainContext().save();
    constexpr fs::perms mine = fs::perms::owner_read | fs::perms::owner_write;
    EXPECT_EQ(permissions(folder.file().parent_path()), fs::perms::owner_all);
    EXPECT_EQ(permissions(folder.file()), mine);
    EXPECT_EQ(permissions(folder.file().string() + "-wal"), mine);
    EXPECT_EQ(permissions(folder.file().string() + "-shm"), mine);
    EXPECT_EQ(container.file(), folder.file());
}

TEST(StoreOpening, RecordsTheVersionOfItsSchema) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    SQLite::Database plain(folder.file().string());
    EXPECT_EQ(plain.execAndGet("SELECT value FROM store WHERE key = 'schemaVersion'").getString(), "1.0.0");
    EXPECT_EQ(plain.execAndGet("PRAGMA user_version").getInt(), 10000);
    EXPECT_EQ(plain.execAndGet("PRAGMA application_id").getInt(), 0x56726E6C);
    EXPECT_EQ(plain.execAndGet("PRAGMA journal_mode").getString(), "wal");
}

TEST(StoreOpening, RefusesALaterVersionAndLeavesItByteForByte) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    {
        SQLite::Database plain(folder.file().string(), SQLite::OPEN_READWRITE);
        plain.exec("PRAGMA user_version = 20100");
    }
    const std::string before = bytes(folder.file());
    EXPECT_EQ(failure(folder.file(), "was written by a later version (schema 2.1.0, this program knows 1.0.0)"),
              StoreError::Case::futureVersion);
    EXPECT_EQ(bytes(folder.file()), before);
}

TEST(StoreOpening, RefusesALaterVersionThatIsStillInTheLog) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    SQLite::Database plain(folder.file().string(), SQLite::OPEN_READWRITE);
    plain.exec("PRAGMA user_version = 10001");
    const std::string before = bytes(folder.file());
    EXPECT_EQ(failure(folder.file(), "later version"), StoreError::Case::futureVersion);
    EXPECT_EQ(bytes(folder.file()), before);
}

TEST(StoreOpening, RefusesADamagedFileAndLeavesIt) {
    StoreFolder folder;
    const std::string noDatabase = "This is a text, long enough to be taken for a header of a database file. "
                                   "Its bytes say nothing of the kind, from the first one on to the last.\n";
    write(folder.file(), noDatabase);
    EXPECT_EQ(failure(folder.file(), "not a database"), StoreError::Case::damaged);
    EXPECT_EQ(bytes(folder.file()), noDatabase);
}

TEST(StoreOpening, RefusesATruncatedFileAndLeavesIt) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    fs::resize_file(folder.file(), 5000);
    const std::string before = bytes(folder.file());
    EXPECT_EQ(failure(folder.file(), ""), StoreError::Case::damaged);
    EXPECT_EQ(bytes(folder.file()), before);
}

TEST(StoreOpening, RefusesAStoreWithoutItsTables) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    { SQLite::Database(folder.file().string(), SQLite::OPEN_READWRITE).exec("DROP TABLE segmentIndex"); }
    EXPECT_EQ(failure(folder.file(), "has no segmentIndex"), StoreError::Case::damaged);
}

TEST(StoreOpening, RefusesAnotherProgramsDatabase) {
    StoreFolder folder;
    fs::create_directories(folder.file().parent_path());
    {
        SQLite::Database(folder.file().string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
            .exec("CREATE TABLE theirs(x)");
    }
    const std::string before = bytes(folder.file());
    EXPECT_EQ(failure(folder.file(), "another program's database"), StoreError::Case::cannotOpen);
    EXPECT_EQ(bytes(folder.file()), before);
}

TEST(StoreOpening, RefusesADirectoryInItsPlace) {
    StoreFolder folder;
    fs::create_directories(folder.file());
    EXPECT_EQ(failure(folder.file(), "it is a directory"), StoreError::Case::cannotOpen);
}

TEST(StoreOpening, RefusesAFileInTheFoldersPlace) {
    StoreFolder folder;
    write(folder.file().parent_path(), "x");
    EXPECT_THROW(ModelContainer{folder.file()}, StoreError);
}

TEST(StoreOpening, RefusesAReadOnlyStore) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    fs::permissions(folder.file(), fs::perms::owner_read);
    EXPECT_EQ(failure(folder.file(), "it is read-only"), StoreError::Case::cannotOpen);
}

TEST(StoreOpening, RefusesAStoreWithoutPermission) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    fs::permissions(folder.file(), fs::perms::none);
    EXPECT_EQ(failure(folder.file(), "permission denied"), StoreError::Case::cannotOpen);
}

TEST(StoreOpening, WaitsForALockAndThenRefuses) {
    StoreFolder folder;
    { const ModelContainer container(folder.file()); }
    SQLite::Database other(folder.file().string(), SQLite::OPEN_READWRITE);
    other.exec("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE");
    EXPECT_EQ(failure(folder.file(), "locked"), StoreError::Case::busy);
}

TEST(StoreOpening, AnEmptyFileIsAStoreThatWasNeverMade) {
    StoreFolder folder;
    write(folder.file(), "");
    ModelContainer container(folder.file());
    EXPECT_TRUE(container.mainContext().fetchMeetings().empty());
}

TEST(StoreOpening, NamesMayHoldBlanksQuotesAndOtherScripts) {
    StoreFolder folder;
    const fs::path file = folder.folder() / "a b'c\"ü" / "Varnel.store";
    {
        ModelContainer container(file);
        container.mainContext().insert(makeMeeting());
        container.mainContext().save();
    }
    ModelContainer container(file);
    EXPECT_EQ(container.mainContext().meetingCount(), 1U);
}

} // namespace
} // namespace Varnel
