#include "Varnel/Core/MockTranscriber.h"

#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Models/Settings.h"
#include "support/ErrorText.h"
#include "support/MemorySettingsStore.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Varnel {
namespace {

using MockTranscriber::sampleSegments;
using MockTranscriber::sampleSpeakers;
using Testing::errorText;

double shortest(double low, double /*high*/) {
    return low;
}

double longest(double /*low*/, double high) {
    return high;
}

TEST(SampleData, TheSpeakersAreYouAndTwoOthers) {
    const auto speakers = sampleSpeakers();
    ASSERT_EQ(speakers.size(), 3U);
    const auto is = [&](std::size_t i, const char* name, const char* color, bool isYou) {
        EXPECT_EQ(speakers[i].name, QLatin1String(name));
        EXPECT_EQ(speakers[i].colorHex, QLatin1String(color));
        EXPECT_EQ(speakers[i].isYou, isYou);
        EXPECT_FALSE(speakers[i].id.isNull());
    };
    is(0, "You", "#3B82F6", true);
    is(1, "Speaker 2", "#EC4899", false);
    is(2, "Speaker 3", "#10B981", false);
    EXPECT_NE(sampleSpeakers()[0].id, speakers[0].id);
}

TEST(SampleData, ThreeSecondsAreExactlyOneSegment) {
    for (const auto& random : {shortest, longest}) {
        const auto segments = sampleSegments(sampleSpeakers(), 3, random);
        ASSERT_EQ(segments.size(), 1U);
        EXPECT_EQ(segments[0].startTime, 0);
        EXPECT_EQ(segments[0].endTime, 3);
    }
    EXPECT_EQ(sampleSegments(sampleSpeakers(), 3).size(), 1U);
}

TEST(SampleData, LinesFollowOneAnotherWithPauses) {
    const auto speakers = sampleSpeakers();
    const auto segments = sampleSegments(speakers, 20, longest); // 7 s, 1 s
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_EQ(segments[0].endTime, 7);
    EXPECT_EQ(segments[1].startTime, 8);
    EXPECT_EQ(segments[2].startTime, 16);
    EXPECT_EQ(segments[2].endTime, 20);
    EXPECT_EQ(segments[1].speakerID, speakers[1].id);
    EXPECT_EQ(segments[0].text, QStringLiteral("Hey everyone, can you hear me?"));
}

TEST(SampleData, SpeakersAndTextsGoRound) {
    const auto speakers = sampleSpeakers();
    const auto segments = sampleSegments(speakers, 100, shortest);
    ASSERT_GT(segments.size(), 14U);
    EXPECT_EQ(segments[12].text, QStringLiteral("Thanks all, talk soon."));
    EXPECT_EQ(segments[13].text, segments[0].text);
    EXPECT_EQ(segments[14].text, QStringLiteral("Yes, loud and clear."));
    EXPECT_EQ(segments[3].speakerID, speakers[0].id);
    EXPECT_EQ(segments[14].speakerID, speakers[2].id);
}

TEST(SampleData, NoSegmentEndsAfterTheDuration) {
    EXPECT_TRUE(rc::check([] {
        const double duration = *rc::gen::inRange(1, 100'000) * 0.01;
        const auto segments = sampleSegments(sampleSpeakers(), duration);
        RC_ASSERT(!segments.empty());
        double end = -1;
        for (const auto& segment : segments) {
            RC_ASSERT(segment.startTime > end);
            RC_ASSERT(segment.endTime > segment.startTime);
            RC_ASSERT(segment.endTime - segment.startTime <= 7.0 + 1e-9);
            end = segment.endTime;
        }
        RC_ASSERT(end <= duration);
    }));
}

TEST(SampleData, NoTimeIsNoSegments) {
    EXPECT_TRUE(sampleSegments(sampleSpeakers(), 0).empty());
    EXPECT_TRUE(sampleSegments(sampleSpeakers(), -1).empty());
    EXPECT_TRUE(sampleSegments(sampleSpeakers(), std::nan("")).empty());
    EXPECT_TRUE(sampleSegments({}, 0).empty());
}

TEST(SampleData, WithoutSpeakersAndWithoutAnEndThereAreNone) {
    EXPECT_EQ(errorText([] { sampleSegments({}, 1); }), "sample segments need a speaker");
    EXPECT_EQ(errorText([] { sampleSegments(sampleSpeakers(), std::numeric_limits<double>::infinity()); }),
              "too long for sample segments");
}

class SeededMeetings : public ::testing::Test {
protected:
    void insert(const QString& title) {
        container_.mainContext().insert(std::make_shared<Meeting>(
            QUuid::createUuid(), title, QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC)));
        container_.mainContext().save();
    }

    QStringList titles() const {
        QStringList titles;
        for (const auto& meeting : container_.mainContext().fetchMeetings())
            titles += meeting->title();
        return titles;
    }

    bool isDone() const { return settings_.boolean(SettingKeys::didCleanupSeededMockMeetings_v1); }

    mutable ModelContainer container_;
    Testing::MemorySettingsStore store_;
    Settings settings_{store_};
};

TEST_F(SeededMeetings, AreRemovedByTheirExactTitles) {
    insert(QStringLiteral("Engineering standup"));
    insert(QStringLiteral("engineering standup"));
    insert(QStringLiteral("Product sync - v1 scope"));
    insert(QStringLiteral("1:1 with Sam"));
    insert(QStringLiteral("1:1 with Samantha"));
    MockTranscriber::removeSeededMeetings(container_.mainContext(), settings_);
    EXPECT_EQ(titles(), (QStringList{QStringLiteral("engineering standup"), QStringLiteral("1:1 with Samantha")}));
    EXPECT_FALSE(container_.mainContext().hasChanges());
    EXPECT_TRUE(isDone());
}

TEST_F(SeededMeetings, AnEmptyStoreIsDoneToo) {
    MockTranscriber::removeSeededMeetings(container_.mainContext(), settings_);
    EXPECT_TRUE(isDone());
}

TEST_F(SeededMeetings, ASecondStartDoesNothing) {
    MockTranscriber::removeSeededMeetings(container_.mainContext(), settings_);
    insert(QStringLiteral("1:1 with Sam"));
    MockTranscriber::removeSeededMeetings(container_.mainContext(), settings_);
    EXPECT_EQ(titles(), QStringList{QStringLiteral("1:1 with Sam")});
}

} // namespace
} // namespace Varnel
