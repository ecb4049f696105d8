#include "Varnel/Models/MeetingSearch.h"
#include "Varnel/Models/RecordSequence.h"
#include "Varnel/Models/StoreRepair.h"
#include "Varnel/Models/StoreTesting.h"

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

namespace Varnel {
namespace {

using namespace std::chrono_literals;

// Makes the writes of every connection opened while it lives fail from the n-th on: all of SQLite's writing goes
// through a table of system calls that can be replaced.
class FailingWrites {
public:
    FailingWrites() : vfs_(sqlite3_vfs_find(nullptr)) {
        original_ = reinterpret_cast<Write>(vfs_->xGetSystemCall(vfs_, "pwrite64"));
        vfs_->xSetSystemCall(vfs_, "pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&FailingWrites::write));
        remaining_ = -1;
    }

    ~FailingWrites() { vfs_->xSetSystemCall(vfs_, "pwrite64", nullptr); }

    // So many more succeed; -1: all.
    void allow(int writes) { remaining_ = writes; }

    static int count() { return count_; }

private:
    using Write = ssize_t (*)(int, const void*, size_t, off64_t);

    static ssize_t write(int file, const void* bytes, size_t size, off64_t at) {
        ++count_;
        if (remaining_ == 0) {
            errno = ENOSPC;
            return -1;
        }
        remaining_ -= remaining_ > 0 ? 1 : 0;
        return original_(file, bytes, size, at);
    }

    sqlite3_vfs* vfs_;
    static inline Write original_ = nullptr;
    static inline int remaining_ = -1;
    static inline int count_ = 0;
};

TEST(Saving, TheNthWriteFailsAndEverythingWaitsForTheNextSave) {
    FailingWrites writes;
    StoreFolder folder;
    ModelContainer container(folder.file());
    auto& context = container.mainContext();
    const auto old = makeMeeting(QStringLiteral("old"));
    const auto doomed = makeMeeting(QStringLiteral("doomed"));
    context.insert(old);
    context.insert(doomed);
    makeSegment(doomed, QStringLiteral("goes too"));
    context.save();

    const auto fresh = makeMeeting(QStringLiteral("fresh"));
    context.insert(fresh);
    const auto speaker = makeSpeaker(fresh, QStringLiteral("A"));
    makeSegment(fresh, QStringLiteral("line"), speaker);
    old->setTitle(QStringLiteral("renamed"));
    context.remove(doomed);
    int failures = 0;
    for (int allowed = 0;; ++allowed) {
        writes.allow(allowed);
        try {
            context.save();
            break;
        } catch (const StoreError& error) {
            ++failures;
            EXPECT_EQ(error.error(), StoreError::Case::writeFailed) << error.what();
            EXPECT_THAT(error.what(), testing::HasSubstr("cannot change the store '" + folder.file().string() + "': "));
            ASSERT_TRUE(context.hasChanges());
            ASSERT_EQ(context.fetchMeetings().size(), 2U);
            ASSERT_EQ(fresh->segments().size(), 1U);
            // Nothing of it can be seen from outside.
            writes.allow(-1);
            ModelContainer other(folder.file());
            ASSERT_EQ(other.mainContext().meeting(fresh->id()), nullptr);
            ASSERT_EQ(other.mainContext().meeting(old->id())->title(), QStringLiteral("old"));
            ASSERT_NE(other.mainContext().meeting(doomed->id()), nullptr);
        }
    }
    EXPECT_GT(failures, 2);
    EXPECT_FALSE(context.hasChanges());
    writes.allow(-1);
    ModelContainer other(folder.file());
    EXPECT_EQ(other.mainContext().meetingCount(), 2U);
    EXPECT_EQ(other.mainContext().meeting(old->id())->title(), QStringLiteral("renamed"));
    const auto stored = other.mainContext().meeting(fresh->id());
    ASSERT_TRUE(stored);
    ASSERT_EQ(stored->segments().size(), 1U);
    EXPECT_EQ(stored->segments().front()->speaker()->name(), QStringLiteral("A"));
    const MeetingSearch search(folder.file());
    EXPECT_EQ(search.matches(QStringLiteral("renamed")).size(), 1U);
    EXPECT_TRUE(search.matches(QStringLiteral("goes too")).empty());
}

TEST(Saving, AFullStoreFailsAndSucceedsWhenThereIsRoomAgain) {
    StoreFolder folder;
    ModelContainer container(folder.file());
    const auto meeting = makeMeeting();
    container.mainContext().insert(meeting);
    container.mainContext().save();
    makeSegment(meeting, QString(100'000, u'x'));
    {
        FailingWrites writes;
        writes.allow(0);
        EXPECT_THROW(container.mainContext().save(), StoreError);
        EXPECT_THROW(container.mainContext().save(), StoreError); // and for ever, until it ends
    }
    EXPECT_TRUE(container.mainContext().hasChanges());
    container.mainContext().save();
    ModelContainer other(folder.file());
    EXPECT_EQ(other.mainContext().fetchSegments().size(), 1U);
}

TEST(Saving, ALockOfAnotherProcessFailsWithBusyAndKeepsEverything) {
    StoreFolder folder;
    ModelContainer container(folder.file(), 1ms);
    SQLite::Database other(folder.file().string(), SQLite::OPEN_READWRITE);
    other.exec("BEGIN IMMEDIATE");
    container.mainContext().insert(makeMeeting());
    try {
        container.mainContext().save();
        FAIL();
    } catch (const StoreError& error) {
        EXPECT_EQ(error.error(), StoreError::Case::busy);
    }
    EXPECT_TRUE(container.mainContext().hasChanges());
    other.exec("ROLLBACK");
    container.mainContext().save();
    EXPECT_EQ(container.mainContext().meetingCount(), 1U);
}

TEST(Saving, AnIdThatIsTakenFailsUntilTheRecordIsWithdrawn) {
    ModelContainer container;
    const auto meeting = makeMeeting();
    container.mainContext().insert(meeting);
    container.mainContext().save();
    const auto twin = std::make_shared<Meeting>(meeting->id(), QStringLiteral("twin"), meeting->startedAt());
    container.mainContext().insert(twin);
    EXPECT_THROW(container.mainContext().save(), StoreError);
    container.mainContext().remove(twin);
    container.mainContext().save();
    EXPECT_FALSE(container.mainContext().hasChanges());
    EXPECT_EQ(container.mainContext().meetingCount(), 1U);
}

TEST(Saving, WritesOnlyTheColumnsThatChanged) {
    StoreFolder folder;
    ModelContainer first(folder.file());
    const auto meeting = makeMeeting(QStringLiteral("title"));
    first.mainContext().insert(meeting);
    first.mainContext().save();
    ModelContainer second(folder.file());
    const auto same = second.mainContext().meeting(meeting->id());
    meeting->setSummary(QStringLiteral("summary"));
    same->setTitle(QStringLiteral("renamed"));
    first.mainContext().save();
    second.mainContext().save();
    ModelContainer third(folder.file());
    EXPECT_EQ(third.mainContext().meeting(meeting->id())->title(), QStringLiteral("renamed"));
    EXPECT_EQ(third.mainContext().meeting(meeting->id())->summary(), QStringLiteral("summary"));
}

TEST(Saving, AMeetingOfManyLinesIsDeletedWithoutLoadingThem) {
    StoreFolder folder;
    QUuid id;
    {
        ModelContainer container(folder.file());
        const auto meeting = makeMeeting();
        id = meeting->id();
        container.mainContext().insert(meeting);
        container.mainContext().save();
        SQLite::Database plain(folder.file().string(), SQLite::OPEN_READWRITE);
        plain.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) "
                   "INSERT INTO segments(id, meeting, startTime, endTime, text) "
                   "SELECT randomblob(16), 1, i, i + 1, 'line ' || i FROM n");
    }
    ASSERT_TRUE(StoreRepair::repair(folder.file(), QDateTime::currentDateTimeUtc()).isIndexRebuilt);
    ModelContainer container(folder.file());
    const auto meeting = container.mainContext().meeting(id);
    const std::uint64_t before = nextRecordSequence(); // every record takes one when it is made
    container.mainContext().remove(meeting);
    container.mainContext().save();
    EXPECT_EQ(nextRecordSequence(), before + 1);
    EXPECT_TRUE(container.mainContext().fetchSegments().empty());
    EXPECT_EQ(container.mainContext().meetingCount(), 0U);
}

TEST(Saving, AnEmbeddingOfAWrongSizeIsNone) {
    StoreFolder folder;
    ModelContainer container(folder.file());
    const auto meeting = makeMeeting();
    container.mainContext().insert(meeting);
    const QUuid id = makeSpeaker(meeting, QStringLiteral("A"), Speaker::Embedding{1, 2})->id();
    const QUuid empty = makeSpeaker(meeting, QStringLiteral("B"), Speaker::Embedding{})->id();
    container.mainContext().save();
    {
        SQLite::Database plain(folder.file().string(), SQLite::OPEN_READWRITE);
        EXPECT_EQ(plain.execAndGet("SELECT hex(embedding) FROM speakers WHERE name = 'A'").getString(),
                  "0000803F00000040"); // little-endian
        plain.exec("UPDATE speakers SET embedding = x'010203' WHERE name = 'A'");
    }
    ModelContainer other(folder.file());
    EXPECT_EQ(other.mainContext().speaker(id)->embedding(), std::nullopt);
    EXPECT_EQ(other.mainContext().speaker(empty)->embedding(), Speaker::Embedding{});
}

TEST(Saving, AnotherEmbeddingLosesTheDigestOfTheFormer) {
    ModelContainer container;
    const auto meeting = makeMeeting();
    container.mainContext().insert(meeting);
    const auto speaker = makeSpeaker(meeting, QStringLiteral("A"), Speaker::Embedding{1});
    speaker->setEmbeddingModelDigest(QStringLiteral("digest"));
    container.mainContext().save();
    speaker->setEmbedding({});
    EXPECT_EQ(speaker->embeddingModelDigest(), std::nullopt);
    container.mainContext().save();
    speaker->setName(QStringLiteral("B"));
    container.mainContext().save();
    EXPECT_EQ(container.mainContext().speaker(speaker->id())->embeddingModelDigest(), std::nullopt);
}

} // namespace
} // namespace Varnel
