#include "VarnelSpeech/Diarizer/SpeakerUtilities.h"
#include "VoiceFixtures.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;
using Level = AppLogger::Level;

TEST(CosineDistance, IsNothingForTheSameDirectionAndTwoForTheOpposite) {
    auto opposite = voice(3);
    opposite[3] = -1;
    EXPECT_EQ(SpeakerUtilities::cosineDistance(voice(3), voice(3)), 0.0F);
    EXPECT_EQ(SpeakerUtilities::cosineDistance(voice(3), opposite), 2.0F);
    EXPECT_EQ(SpeakerUtilities::cosineDistance(voice(3), voice(4)), 1.0F);
}

TEST(CosineDistance, DoesNotDependOnLength) {
    std::vector<float> longer = voiceAt(0.3F, 1, 2);
    for (float& value : longer) {
        value *= 37;
    }
    EXPECT_NEAR(SpeakerUtilities::cosineDistance(longer, voice(1)), 0.3F, 1e-6);
    EXPECT_NEAR(SpeakerUtilities::cosineDistance(voice(1), voiceAt(0.3F, 1, 2)), 0.3F, 1e-6);
}

TEST(CosineDistance, TakesVectorsWithinAThousandthOfUnitLengthAsUnitVectors) {
    const std::vector<float> within{std::sqrt(1.0009F), 0};
    const std::vector<float> beyond{std::sqrt(1.002F), 0};
    const std::vector<float> direction{0.6F, 0.8F};
    EXPECT_FLOAT_EQ(SpeakerUtilities::cosineDistance(within, direction), 1 - within[0] * 0.6F);
    EXPECT_FLOAT_EQ(SpeakerUtilities::cosineDistance(beyond, direction), 0.4F);
}

TEST(CosineDistance, IsNeverNegativeAndNeverAboveTwo) {
    EXPECT_TRUE(rc::check([] {
        const auto size = *rc::gen::inRange<std::size_t>(1, 300);
        const auto values = *rc::gen::container<std::vector<int>>(size * 2, rc::gen::inRange(-1000, 1001));
        std::vector<float> a(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(size));
        std::vector<float> b(values.begin() + static_cast<std::ptrdiff_t>(size), values.end());
        const float distance = SpeakerUtilities::cosineDistance(a, b);
        RC_ASSERT(distance == infinity || (distance >= 0 && distance <= 2));
        RC_ASSERT(distance == SpeakerUtilities::cosineDistance(b, a));
    }));
}

TEST(CosineDistance, IsInfiniteForVectorsThatCannotBeCompared) {
    const LogRecorder log;
    EXPECT_EQ(SpeakerUtilities::cosineDistance(std::vector<float>{}, voice(0)), infinity);
    EXPECT_EQ(SpeakerUtilities::cosineDistance(voice(0), voice(0, 255)), infinity);
    EXPECT_EQ(log.messages(Level::error),
              (Strings{"Invalid embeddings: a.count=0, b.count=256", "Invalid embeddings: a.count=256, b.count=255"}));
}

TEST(CosineDistance, IsInfiniteForVectorsOfNoLengthAndForNaN) {
    const LogRecorder log;
    auto broken = voice(0);
    broken[7] = noNumber;
    EXPECT_EQ(SpeakerUtilities::cosineDistance(std::vector<float>(256), voice(0)), infinity);
    EXPECT_EQ(SpeakerUtilities::cosineDistance(voice(0), broken), infinity);
    EXPECT_EQ(log.messages(Level::warning),
              (Strings{"Zero magnitude embedding detected", "Zero magnitude embedding detected"}));
}

TEST(ValidateEmbedding, AcceptsWhatIsFiniteAndLongEnough) {
    EXPECT_TRUE(SpeakerUtilities::validateEmbedding(voice(0)));
    EXPECT_TRUE(SpeakerUtilities::validateEmbedding(std::vector<float>{0.05F}, 0.01F));
}

TEST(ValidateEmbedding, SaysWhatIsWrong) {
    const LogRecorder log;
    EXPECT_FALSE(SpeakerUtilities::validateEmbedding({}));
    EXPECT_FALSE(SpeakerUtilities::validateEmbedding(std::vector<float>{0.0625F, 0}));
    EXPECT_FALSE(SpeakerUtilities::validateEmbedding(std::vector<float>{0.5F}, 0.5F)); // must be above
    EXPECT_FALSE(SpeakerUtilities::validateEmbedding(std::vector<float>{1, -infinity}));
    EXPECT_EQ(log.messages(Level::error), (Strings{"Empty embedding", "Embedding contains NaN or Inf"}));
    EXPECT_EQ(log.messages(Level::warning),
              (Strings{"Low magnitude embedding: 0.0625", "Low magnitude embedding: 0.5"}));
}

TEST(ValidateEmbedding, ReportsNaNAsALowMagnitude) {
    const LogRecorder log;
    EXPECT_FALSE(SpeakerUtilities::validateEmbedding(std::vector<float>{1, noNumber}));
    EXPECT_EQ(log.messages(Level::warning), Strings{"Low magnitude embedding: nan"});
    EXPECT_TRUE(log.messages(Level::error).empty());
}

TEST(AssignmentConfig, HasAStandardAndAStricterPreset) {
    EXPECT_EQ(AssignmentConfig::standard(), (AssignmentConfig{0.65F, 0.45F, 4.0F, 1.0F}));
    EXPECT_EQ(AssignmentConfig::strict(), (AssignmentConfig{0.55F, 0.45F, 4.0F, 1.0F}));
}

namespace {

void expectDecision(float distance, float duration, bool assigns, bool updates, const std::string& reason) {
    const auto decision = SpeakerUtilities::shouldAssign(distance, duration);
    EXPECT_EQ(decision.shouldAssign, assigns) << distance << " " << duration;
    EXPECT_EQ(decision.shouldUpdate, updates) << distance << " " << duration;
    EXPECT_EQ(decision.reason, reason) << distance << " " << duration;
    EXPECT_EQ(decision.confidence, 1.0F - distance);
}

} // namespace

TEST(ShouldAssign, FollowsTheTableInItsOrder) {
    expectDecision(0.19F, 0.0F, true, false, "Very high confidence match");
    expectDecision(0.19F, 4.0F, true, true, "Very high confidence match");
    expectDecision(0.2F, 1.0F, true, false, "Sufficient confidence and duration");
    expectDecision(0.45F, 4.0F, true, true, "Sufficient confidence and duration");
    expectDecision(0.46F, 4.0F, true, false, "Sufficient confidence and duration");
    expectDecision(0.3F, 0.99F, false, false, "Duration too short");
    expectDecision(0.65F, 10.0F, false, false, "Distance too far");
    expectDecision(infinity, 10.0F, false, false, "Distance too far");
}

TEST(ShouldAssign, NaNIsTooFar) {
    const auto decision = SpeakerUtilities::shouldAssign(noNumber, 10);
    EXPECT_FALSE(decision.shouldAssign);
    EXPECT_EQ(decision.reason, "Distance too far");
}

TEST(FindClosest, TakesTheFirstOfTheNearest) {
    const std::vector<std::shared_ptr<Speaker>> speakers{speaker("far", voice(1)), nullptr, speaker("a", voice(0)),
                                                         speaker("b", voice(0))};
    const auto [found, distance] = SpeakerUtilities::findClosest(voiceAt(0.25F, 0, 5), speakers);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id(), "a");
    EXPECT_NEAR(distance, 0.25F, 1e-6);
}

TEST(FindClosest, FindsNobodyAmongNobodyAndAmongVoicesWithoutLength) {
    EXPECT_EQ(SpeakerUtilities::findClosest(voice(0), {}).first, nullptr);
    const auto [found, distance] =
        SpeakerUtilities::findClosest(voice(0), {speaker("1", std::vector<float>(256)), speaker("2", {})});
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(distance, infinity);
}

TEST(CreateSpeakerParams, NamesAndNormalisesTheSpeaker) {
    const auto created =
        SpeakerUtilities::createSpeakerParams("4", std::nullopt, 1.0F, std::vector<float>{3, 4}, 1.0F, day(9));
    const auto& params = std::get<SpeakerCreationParams>(created);
    EXPECT_EQ(params.id, "4");
    EXPECT_EQ(params.name, "Speaker 4");
    EXPECT_EQ(params.duration, 1.0F);
    EXPECT_NEAR(params.embedding[0], 0.6F, 1e-6);
    EXPECT_EQ(params.createdAt, day(9));
    EXPECT_EQ(params.updatedAt, day(9));
}

TEST(CreateSpeakerParams, SaysWhyNot) {
    const auto reason = [](float duration, const std::vector<float>& embedding) {
        return std::get<SpeakerCreationFailure>(
                   SpeakerUtilities::createSpeakerParams("4", std::nullopt, duration, embedding, 1.0F))
            .reason;
    };
    EXPECT_EQ(reason(0.5F, voice(0)), "Duration 0.5 < minimum 1.0");
    EXPECT_EQ(reason(1.0F, {}), "Invalid embedding: failed quality checks");
}

TEST(MakeSpeaker, YieldsASpeakerOrLogsWhyNot) {
    const LogRecorder log;
    const auto made = SpeakerUtilities::makeSpeaker("4", "Ada", 2.0F, voice(1), 1.0F, day(3));
    ASSERT_TRUE(made);
    EXPECT_EQ(made->name(), "Ada");
    EXPECT_EQ(made->duration(), 2.0F);
    EXPECT_EQ(made->createdAt(), day(3));
    EXPECT_EQ(SpeakerUtilities::makeSpeaker("5", "Bob", 0.25F, voice(1), 1.0F), nullptr);
    EXPECT_EQ(log.messages(Level::error), Strings{"Failed to create speaker: Duration 0.25 < minimum 1.0"});
}

TEST(UpdatedEmbedding, BlendsUnitVectors) {
    const auto blended = SpeakerUtilities::updatedEmbedding(std::vector<float>{5, 0}, std::vector<float>{0, 7}, 0.9F);
    ASSERT_TRUE(blended);
    const float norm = std::sqrt(0.81F + 0.01F);
    EXPECT_NEAR((*blended)[0], 0.9F / norm, 1e-6);
    EXPECT_NEAR((*blended)[1], 0.1F / norm, 1e-6);
}

TEST(UpdatedEmbedding, RefusesWhatDoesNotFit) {
    const LogRecorder log;
    EXPECT_FALSE(SpeakerUtilities::updatedEmbedding({}, {}, 0.9F));
    EXPECT_FALSE(SpeakerUtilities::updatedEmbedding(voice(0), voice(0, 255), 0.9F));
    EXPECT_FALSE(SpeakerUtilities::updatedEmbedding(voice(0), std::vector<float>(256), 0.9F));
    EXPECT_EQ(log.messages(Level::error), Strings(3, "Invalid embeddings for update"));
}

TEST(UpdatedRawEmbeddings, AppendsAndLetsTheFirstLeaveAFullList) {
    const auto before = observations(3, 1, voice(0));
    const UUID segment = UUID::fresh();
    const auto update = SpeakerUtilities::updatedRawEmbeddings(before, std::vector<float>{3, 4}, segment, day(9), 3);
    ASSERT_EQ(update.rawEmbeddings.size(), 3U);
    EXPECT_EQ(update.rawEmbeddings[0].segmentId, before[1].segmentId);
    EXPECT_EQ(update.rawEmbeddings[2].segmentId, segment);
    EXPECT_EQ(update.rawEmbeddings[2].timestamp, day(9));
    EXPECT_NEAR(update.rawEmbeddings[2].embedding[1], 0.8F, 1e-6);
    EXPECT_TRUE(update.shouldRecalculate);
}

TEST(UpdatedRawEmbeddings, AsksForAMeanFromThreeEntriesOn) {
    const auto flag = [](int count) {
        return SpeakerUtilities::updatedRawEmbeddings(observations(count, 1, voice(0)), voice(0), UUID::fresh(), day(9))
            .shouldRecalculate;
    };
    EXPECT_FALSE(flag(1));
    EXPECT_TRUE(flag(2));
}

TEST(UpdatedRawEmbeddings, LeavesTheListAloneForAnInvalidEmbedding) {
    const LogRecorder log;
    const UUID segment = UUID::fresh();
    const auto update =
        SpeakerUtilities::updatedRawEmbeddings(observations(5, 1, voice(0)), std::vector<float>(256), segment, day(9));
    EXPECT_EQ(update.rawEmbeddings.size(), 5U);
    EXPECT_FALSE(update.shouldRecalculate);
    EXPECT_TRUE(hasLine(log, Level::warning, "Invalid embedding for segment " + segment.text()));
}

TEST(UpdatedRawEmbeddings, SurvivesAMaximumOfNothing) {
    EXPECT_EQ(SpeakerUtilities::updatedRawEmbeddings({}, voice(0), UUID::fresh(), day(1), 0).rawEmbeddings.size(), 1U);
}

TEST(AverageEmbeddings, IsTheNormalisedMeanOfThoseOfTheFirstOnesLength) {
    using Embeddings = std::vector<std::vector<float>>;
    const auto average = SpeakerUtilities::averageEmbeddings(Embeddings{{1, 0}, {9, 9, 9}, {0, 1}});
    ASSERT_TRUE(average);
    EXPECT_NEAR((*average)[0], std::sqrt(0.5F), 1e-6);
    EXPECT_NEAR((*average)[1], std::sqrt(0.5F), 1e-6);
    EXPECT_FALSE(SpeakerUtilities::averageEmbeddings(Embeddings{}));
    EXPECT_FALSE(SpeakerUtilities::averageEmbeddings(Embeddings{{}, {1}}));
}

namespace {

SpeakerUtilities::SpeakerUpdate update(std::vector<float> embedding, float seconds) {
    SpeakerUtilities::SpeakerUpdate given;
    given.currentEmbedding = voice(0);
    given.rawEmbeddings = observations(50, 1, voice(0));
    given.currentDuration = 10;
    given.newEmbedding = std::move(embedding);
    given.segmentId = UUID::fresh();
    given.timestamp = day(99);
    given.segmentDuration = seconds;
    given.minEmbeddingUpdateDuration = 2;
    return given;
}

} // namespace

TEST(UpdateSpeaker, LearnsFromALongEnoughSegment) {
    const auto given = update(voice(1), 2);
    const auto result = SpeakerUtilities::updateSpeaker(given);
    EXPECT_EQ(result.updatedMainEmbedding, SpeakerUtilities::updatedEmbedding(voice(0), voice(1), 0.9F));
    ASSERT_EQ(result.updatedRawEmbeddings.size(), 50U);
    EXPECT_EQ(result.updatedRawEmbeddings.back().segmentId, given.segmentId);
    EXPECT_EQ(result.updatedDuration, 12.0F);
    EXPECT_TRUE(result.shouldRecalculate);
}

TEST(UpdateSpeaker, ChangesNothingForAShortSegmentOrAnInvalidEmbedding) {
    for (const auto& given : {update(voice(1), 1.9F), update(std::vector<float>(256), 5)}) {
        const auto result = SpeakerUtilities::updateSpeaker(given);
        EXPECT_FALSE(result.updatedMainEmbedding);
        ASSERT_EQ(result.updatedRawEmbeddings.size(), 50U);
        EXPECT_EQ(result.updatedRawEmbeddings.back().segmentId, given.rawEmbeddings.back().segmentId);
        EXPECT_EQ(result.updatedDuration, 10.0F);
        EXPECT_FALSE(result.shouldRecalculate);
    }
}

TEST(MergedSpeakerData, KeepsTheNewest) {
    const auto merged =
        SpeakerUtilities::mergedSpeakerData(observations(3, 1, voice(0)), observations(3, 10, voice(1)), 1.5F, 2.5F, 4);
    ASSERT_EQ(merged.rawEmbeddings.size(), 4U);
    EXPECT_EQ(merged.rawEmbeddings.front().timestamp, day(12));
    EXPECT_EQ(merged.rawEmbeddings.back().timestamp, day(3));
    EXPECT_EQ(merged.duration, 4.0F);
    ASSERT_TRUE(merged.averageEmbedding);
    EXPECT_NEAR((*merged.averageEmbedding)[1], 3 / std::sqrt(10.0F), 1e-6);
    EXPECT_FALSE(SpeakerUtilities::mergedSpeakerData({}, {}, 1, 1).averageEmbedding);
}

TEST(LogGlobalStats, IsOneLine) {
    const LogRecorder log;
    SpeakerUtilities::logGlobalStats(3, 12.34F, 0.75F, 2);
    EXPECT_TRUE(hasLine(log, Level::info,
                        "Global stats - Speakers: 3, Duration: 12.3s, Avg confidence: 0.75, With history: 2"));
}
