#include "VoiceFixtures.h"

#include <gtest/gtest.h>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;
using Level = AppLogger::Level;
using Pairs = std::vector<std::pair<std::string, std::string>>;

namespace {

// "1" with voice 0 and "2" with voice 1, `count` observations each, those of "2" the newer.
struct Couple : Registry {
    explicit Couple(int count) {
        SpeakerFields fields = fieldsOf("1", voice(0));
        fields.duration = 3;
        fields.updateCount = 5;
        fields.rawEmbeddings = observations(count, 1, voice(0));
        manager.upsertSpeaker(fields);
        fields.id = "2";
        fields.name = "Speaker 2";
        fields.currentEmbedding = voice(1);
        fields.rawEmbeddings = observations(count, 101, voice(1));
        manager.upsertSpeaker(fields);
    }
};

} // namespace

TEST(MergeSpeaker, JoinsTheHistories) {
    Couple couple(20);
    couple->mergeSpeaker("2", "1", "Ada", PermanentSpeakers::keep);
    EXPECT_EQ(couple->speakerIds(), Strings{"1"});
    const auto merged = couple->getSpeaker("1");
    EXPECT_EQ(merged->name(), "Ada");
    EXPECT_EQ(merged->duration(), 6.0F);
    EXPECT_EQ(merged->updateCount(), 10);
    EXPECT_EQ(merged->updatedAt(), *couple.clock.time);
    ASSERT_EQ(merged->rawEmbeddings().size(), 40U);
    EXPECT_EQ(merged->rawEmbeddings()[0].timestamp, day(1));
    EXPECT_EQ(merged->rawEmbeddings()[20].timestamp, day(101));
    EXPECT_NEAR(couple->findSpeaker(voice(1)).distance, 1 - std::sqrt(0.5F), 1e-6);
}

TEST(MergeSpeaker, LeavesTheFiftyNewestOfSixty) {
    Couple couple(30);
    couple->mergeSpeaker("2", "1", std::nullopt, PermanentSpeakers::keep);
    const auto merged = couple->getSpeaker("1");
    EXPECT_EQ(merged->name(), "Speaker 1");
    ASSERT_EQ(merged->rawEmbeddings().size(), 50U);
    EXPECT_EQ(merged->rawEmbeddings().front().timestamp, day(130));
    EXPECT_EQ(merged->rawEmbeddings().back().timestamp, day(11));
    // The next observation drives out the oldest, wherever it stands.
    couple->updateExistingSpeaker("1", voice(1), 1, 0.1F);
    EXPECT_EQ(merged->rawEmbeddings().front().timestamp, day(130));
    EXPECT_EQ(merged->rawEmbeddings().back().timestamp, *couple.clock.time);
    EXPECT_EQ(merged->rawEmbeddings()[48].timestamp, day(12));
}

TEST(MergeSpeaker, DoesNothingForUnknownSpeakersOrOneSpeaker) {
    Couple couple(1);
    couple->mergeSpeaker("2", "7", "Ada", PermanentSpeakers::treatAlike);
    couple->mergeSpeaker("7", "1", "Ada", PermanentSpeakers::treatAlike);
    couple->mergeSpeaker("1", "1", "Ada", PermanentSpeakers::treatAlike);
    EXPECT_EQ(couple->speakerCount(), 2U);
    EXPECT_EQ(couple->getSpeaker("1")->name(), "Speaker 1");
}

TEST(MergeSpeaker, KeepsAPermanentSourceWhenAsked) {
    Couple couple(1);
    couple->markSpeakerAsPermanent("2");
    couple->mergeSpeaker("2", "1", std::nullopt, PermanentSpeakers::keep);
    EXPECT_EQ(couple->speakerCount(), 2U);
    couple->mergeSpeaker("2", "1", std::nullopt, PermanentSpeakers::treatAlike);
    EXPECT_EQ(couple->speakerIds(), Strings{"1"});
}

namespace {

// "1", "2" and "10" at distance 0.5 and less from each other, "3" far away.
struct Relatives : Registry {
    Relatives() {
        manager.upsertSpeaker(fieldsOf("1", voice(0)));
        manager.upsertSpeaker(fieldsOf("2", voiceAt(0.25F, 0, 1)));
        manager.upsertSpeaker(fieldsOf("10", voiceAt(0.5F, 0, 1)));
        manager.upsertSpeaker(fieldsOf("3", voice(9)));
    }
};

} // namespace

TEST(FindMergeablePairs, NamesTheLaterIdFirst) {
    Relatives registry;
    EXPECT_EQ(registry->findMergeablePairs(std::nullopt, PermanentPairs::exclude),
              (Pairs{{"10", "1"}, {"2", "1"}, {"2", "10"}}));
}

TEST(FindMergeablePairs, TakesPairsStrictlyBelowTheThreshold) {
    Registry registry;
    registry->upsertSpeaker(fieldsOf("1", voice(0)));
    registry->upsertSpeaker(fieldsOf("2", voice(1)));
    EXPECT_TRUE(registry->findMergeablePairs(1.0F, PermanentPairs::exclude).empty());
    EXPECT_EQ(registry->findMergeablePairs(1.5F, PermanentPairs::exclude).size(), 1U);
    registry->upsertSpeaker(fieldsOf("3", std::vector<float>(256)));
    EXPECT_EQ(registry->findMergeablePairs(infinity, PermanentPairs::exclude).size(), 1U);
}

TEST(FindMergeablePairs, NeverMergesAPermanentSpeakerAwayUnlessBothAre) {
    const LogRecorder log;
    Relatives registry;
    registry->removeSpeaker("10", PermanentSpeakers::keep);
    registry->markSpeakerAsPermanent("2");
    EXPECT_EQ(registry->findMergeablePairs(std::nullopt, PermanentPairs::exclude), (Pairs{{"1", "2"}}));
    registry->markSpeakerAsPermanent("1");
    EXPECT_TRUE(registry->findMergeablePairs(std::nullopt, PermanentPairs::exclude).empty());
    EXPECT_TRUE(hasLine(log, Level::info, "findMergeablePairs: Skipping ID 1 and 2 as both are permanent"));
    EXPECT_EQ(registry->findMergeablePairs(std::nullopt, PermanentPairs::include), (Pairs{{"1", "2"}}));
    registry->revokePermanence("2");
    EXPECT_EQ(registry->findMergeablePairs(std::nullopt, PermanentPairs::exclude), (Pairs{{"2", "1"}}));
}

TEST(ReassignSegment, MovesTheObservation) {
    const LogRecorder log;
    Couple couple(2);
    const UUID segment = couple->getSpeaker("1")->rawEmbeddings()[1].segmentId;
    EXPECT_TRUE(couple->reassignSegment(segment, "1", "2"));
    EXPECT_EQ(couple->getSpeaker("1")->rawEmbeddings().size(), 1U);
    ASSERT_EQ(couple->getSpeaker("2")->rawEmbeddings().size(), 3U);
    EXPECT_EQ(couple->getSpeaker("2")->rawEmbeddings()[2].segmentId, segment);
    EXPECT_EQ(couple->getSpeaker("2")->duration(), 3.0F);
    EXPECT_NEAR(couple->findSpeaker(voice(1)).distance, 1 - 2 / std::sqrt(5.0F), 1e-6);
    EXPECT_TRUE(hasLine(log, Level::info, "✅ Reassigned segment " + segment.text() + " from 1 to 2"));
}

TEST(ReassignSegment, ReportsWhatIsMissing) {
    const LogRecorder log;
    Couple couple(1);
    const UUID segment = UUID::fresh();
    EXPECT_FALSE(couple->reassignSegment(segment, "1", "7"));
    EXPECT_FALSE(couple->reassignSegment(segment, "8", "1"));
    EXPECT_FALSE(couple->reassignSegment(segment, "1", "2"));
    EXPECT_EQ(log.messages(Level::warning),
              (Strings{"One or both speakers not found: from=1, to=7", "One or both speakers not found: from=8, to=1",
                       "Segment " + segment.text() + " not found in speaker 1"}));
}
