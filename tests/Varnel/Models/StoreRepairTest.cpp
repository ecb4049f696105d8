#include "Varnel/Models/StoreRepair.h"

#include "Varnel/Models/MeetingSearch.h"
#include "Varnel/Models/StoreTesting.h"

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

namespace Varnel {
namespace {

namespace fs = std::filesystem;

const QDateTime now = QDateTime::fromString(QStringLiteral("2026-02-03T04:05:06Z"), Qt::ISODate);

std::string bytes(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class StoreRepairTest : public testing::Test {
protected:
    static constexpr int meetings = 20;
    static constexpr int lines = 50;

    void SetUp() override {
        ModelContainer container(file());
        for (int number = 0; number < meetings; ++number) {
            const auto meeting = makeMeeting(QStringLiteral("Meeting %1").arg(number));
            container.mainContext().insert(meeting);
            const auto speaker =
                makeSpeaker(meeting, QStringLiteral("Voice Ä%1").arg(number), Speaker::Embedding{1, 2});
            speaker->setEmbeddingModelDigest(QStringLiteral("digest"));
            for (int line = 0; line < lines; ++line) {
                makeSegment(meeting,
                            QStringLiteral("Line %1 of meeting %2 %3").arg(line).arg(number).arg(QString(60, u'x')),
                            speaker);
            }
            container.mainContext().save();
        }
    }

    fs::path file() const { return folder_.file(); }

    // Overwrites the leaf pages of one table, each n-th; returns how many rows were on them.
    std::size_t spoil(const std::string& name, std::size_t each) {
        std::vector<std::pair<int, int>> pages;
        {
            SQLite::Database plain(file().string(), SQLite::OPEN_READWRITE);
            plain.exec("PRAGMA wal_checkpoint(TRUNCATE)");
            SQLite::Statement query(
                plain, "SELECT pageno, ncell FROM dbstat WHERE name = ? AND pagetype = 'leaf' ORDER BY pageno");
            query.bind(1, name);
            while (query.executeStep()) {
                pages.emplace_back(query.getColumn(0).getInt(), query.getColumn(1).getInt());
            }
        }
        std::fstream stream(file(), std::ios::binary | std::ios::in | std::ios::out);
        std::size_t rows = 0;
        for (std::size_t index = 0; index < pages.size(); index += each) {
            stream.seekp((pages[index].first - 1) * 4096L);
            stream << std::string(4096, '\xA5');
            rows += static_cast<std::size_t>(pages[index].second);
        }
        return rows;
    }

    StoreFolder folder_;
};

TEST_F(StoreRepairTest, ASoundStoreIsLeftAsItIs) {
    const std::string before = bytes(file());
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::sound);
    const auto report = StoreRepair::repair(file(), now);
    EXPECT_TRUE(report.setAside.empty());
    EXPECT_FALSE(report.isIndexRebuilt);
    EXPECT_EQ(bytes(file()), before);
}

TEST_F(StoreRepairTest, AnAbsentStoreIsSound) {
    EXPECT_EQ(StoreRepair::examine(folder_.folder() / "new" / "Varnel.store"), StoreRepair::Condition::sound);
}

TEST_F(StoreRepairTest, WhatReadsOfADamagedTableIsKept) {
    const std::size_t lost = spoil("segments", 5);
    ASSERT_GT(lost, 0U);
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::damaged);
    EXPECT_TRUE(fs::exists(file()));
    const std::string before = bytes(file());
    const auto report = StoreRepair::repair(file(), now);
    EXPECT_EQ(report.setAside, file().string() + ".damaged-20260203-040506");
    EXPECT_EQ(bytes(report.setAside), before);
    EXPECT_EQ(report.meetings, std::size_t{meetings});
    EXPECT_EQ(report.speakers, std::size_t{meetings});
    EXPECT_EQ(report.segments, std::size_t{meetings * lines} - lost); // not one more than was on those pages
    EXPECT_GT(report.unreadableRanges, 1U);
    EXPECT_EQ(report.orphans, 0U);

    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::sound);
    ModelContainer container(file());
    EXPECT_EQ(container.mainContext().meetingCount(), std::size_t{meetings});
    std::size_t kept = 0;
    for (const auto& meeting : container.mainContext().fetchMeetings()) {
        for (const auto& segment : meeting->segments()) {
            ++kept;
            EXPECT_EQ(segment->speaker(), meeting->speakers().front());
            EXPECT_TRUE(segment->text().contains(meeting->title().toLower() + u' '));
        }
        EXPECT_EQ(meeting->speakers().front()->embedding(), (Speaker::Embedding{1, 2}));
        EXPECT_EQ(meeting->speakers().front()->embeddingModelDigest(), QStringLiteral("digest"));
    }
    EXPECT_EQ(kept, report.segments);
    const MeetingSearch search(file());
    EXPECT_EQ(search.matches(QStringLiteral("voice ä7")).size(), 1U);
    EXPECT_EQ(search.matches(QStringLiteral(" of meeting ")).size(),
              search.matches(QStringLiteral(" of meeting "), {}, MeetingSearch::Method::scan).size());
}

TEST_F(StoreRepairTest, LinesOfALostMeetingGetANewOne) {
    ASSERT_GT(spoil("meetings", 1), 0U);
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::damaged);
    const auto report = StoreRepair::repair(file(), now);
    EXPECT_EQ(report.meetings, 0U);
    EXPECT_EQ(report.segments, std::size_t{meetings * lines});
    EXPECT_EQ(report.orphans, std::size_t{meetings});
    ModelContainer container(file());
    ASSERT_EQ(container.mainContext().meetingCount(), std::size_t{meetings});
    for (const auto& meeting : container.mainContext().fetchMeetings()) {
        EXPECT_EQ(meeting->title(), QStringLiteral("Recovered meeting"));
        EXPECT_EQ(meeting->startedAt(), now);
        EXPECT_EQ(meeting->segments().size(), std::size_t{lines});
        EXPECT_EQ(meeting->speakers().size(), 1U);
    }
}

TEST_F(StoreRepairTest, LinesOfALostSpeakerStayWithoutOne) {
    ASSERT_GT(spoil("speakers", 1), 0U);
    const auto report = StoreRepair::repair(file(), now);
    EXPECT_EQ(report.speakers, 0U);
    EXPECT_EQ(report.segments, std::size_t{meetings * lines});
    ModelContainer container(file());
    EXPECT_EQ(container.mainContext().fetchSegments().size(), std::size_t{meetings * lines});
    EXPECT_EQ(container.mainContext().fetchSegments().front()->speaker(), nullptr);
}

TEST_F(StoreRepairTest, AFileThatIsNoDatabaseIsSetAsideAndReplacedByAnEmptyStore) {
    const std::string text(9000, 'x');
    std::ofstream(file(), std::ios::binary) << text;
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::damaged);
    const auto report = StoreRepair::repair(file(), now);
    EXPECT_EQ(bytes(report.setAside), text);
    EXPECT_EQ(report.meetings, 0U);
    EXPECT_EQ(report.unreadableRanges, 1U);
    ModelContainer container(file());
    EXPECT_EQ(container.mainContext().meetingCount(), 0U);
}

TEST_F(StoreRepairTest, ASecondOneInTheSameSecondTakesAnotherName) {
    std::ofstream(file().string() + ".damaged-20260203-040506") << "earlier";
    std::ofstream(file(), std::ios::binary) << std::string(9000, 'x');
    EXPECT_EQ(StoreRepair::repair(file(), now).setAside, file().string() + ".damaged-20260203-040506-2");
    EXPECT_EQ(bytes(file().string() + ".damaged-20260203-040506"), "earlier");
}

TEST_F(StoreRepairTest, AMissingSearchIndexIsMadeAnew) {
    { SQLite::Database(file().string(), SQLite::OPEN_READWRITE).exec("DROP TABLE segmentIndex"); }
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::indexDamaged);
    const auto report = StoreRepair::repair(file(), now);
    EXPECT_TRUE(report.isIndexRebuilt);
    EXPECT_TRUE(report.setAside.empty());
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::sound);
    const MeetingSearch search(file());
    EXPECT_EQ(search.matches(QStringLiteral("line 49 of meeting 13 ")).size(), 1U);
}

TEST_F(StoreRepairTest, ADamagedSearchIndexIsMadeAnew) {
    {
        SQLite::Database(file().string(), SQLite::OPEN_READWRITE)
            .exec("UPDATE segmentIndex_data SET block = x'0001' WHERE id > 10");
    }
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::indexDamaged);
    EXPECT_TRUE(StoreRepair::repair(file(), now).isIndexRebuilt);
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::sound);
    ModelContainer container(file());
    EXPECT_EQ(container.mainContext().fetchSegments().size(), std::size_t{meetings * lines});
}

TEST_F(StoreRepairTest, AnIndexThatKnowsOtherRowsThanTheTablesIsMadeAnew) {
    {
        SQLite::Database(file().string(), SQLite::OPEN_READWRITE)
            .exec("INSERT INTO segments(id, meeting, text) VALUES(randomblob(16), 1, 'Smuggled in')");
    }
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::indexDamaged);
    EXPECT_TRUE(StoreRepair::repair(file(), now).isIndexRebuilt);
    EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::sound);
    EXPECT_EQ(MeetingSearch(file()).matches(QStringLiteral("smuggled")).size(), 1U);
}

TEST_F(StoreRepairTest, AStoreInUseIsNotTouched) {
    ModelContainer container(file());
    { SQLite::Database(file().string(), SQLite::OPEN_READWRITE).exec("DROP TABLE segmentIndex"); }
    try {
        StoreRepair::repair(file(), now);
        FAIL();
    } catch (const StoreError& error) {
        EXPECT_EQ(error.error(), StoreError::Case::busy);
        EXPECT_THAT(error.what(), testing::HasSubstr("another program is using it"));
    }
}

TEST_F(StoreRepairTest, AStoreOfALaterVersionIsRefused) {
    { SQLite::Database(file().string(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 20000"); }
    const std::string before = bytes(file());
    EXPECT_THROW(StoreRepair::repair(file(), now), StoreError);
    EXPECT_EQ(bytes(file()), before);
}

// Bytes anywhere: the store opens or refuses, and repair ends with a sound one.
TEST_F(StoreRepairTest, DamageAnywhereEndsInASoundStore) {
    const std::string whole = bytes(file());
    for (std::size_t page = 0; page * 4096 < whole.size(); page += 7) {
        std::string damaged = whole;
        damaged.replace(page * 4096, 4096, 4096, '\x5A');
        for (const char* const companion : {"-wal", "-shm"}) {
            fs::remove(file().string() + companion);
        }
        std::ofstream(file(), std::ios::binary) << damaged;
        StoreRepair::repair(file(), now);
        EXPECT_EQ(StoreRepair::examine(file()), StoreRepair::Condition::sound) << page;
        const ModelContainer container(file());
    }
}

} // namespace
} // namespace Varnel
