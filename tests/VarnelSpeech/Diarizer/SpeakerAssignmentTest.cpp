#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VoiceFixtures.h"

#include <gtest/gtest.h>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;
using Level = AppLogger::Level;

TEST(AssignSpeaker, RefusesAnEmbeddingOfAnotherSize) {
    const LogRecorder log;
    Registry registry;
    EXPECT_EQ(registry->assignSpeaker(voice(0, 255), 5), nullptr);
    EXPECT_EQ(registry->assignSpeaker({}, 5), nullptr);
    EXPECT_EQ(log.messages(Level::error), (Strings{"Invalid embedding size: 255", "Invalid embedding size: 0"}));
    EXPECT_EQ(log.lines().front().category, "SpeakerManager");
    EXPECT_EQ(registry->speakerCount(), 0U);
}

TEST(AssignSpeaker, FoundsASpeakerFromOneSecondOn) {
    const LogRecorder log;
    Registry registry;
    EXPECT_EQ(registry->assignSpeaker(voice(0), 0.5F), nullptr);
    EXPECT_EQ(log.messages(Level::debug), Strings{"Audio segment too short (0.5s) to create new speaker"});
    const auto founded = registry->assignSpeaker(voice(0), 1.0F);
    ASSERT_TRUE(founded);
    EXPECT_EQ(founded->id(), "1");
    EXPECT_EQ(founded->name(), "Speaker 1");
    EXPECT_EQ(founded->duration(), 1.0F);
    EXPECT_EQ(founded->updateCount(), 1);
    EXPECT_EQ(founded->createdAt(), *registry.clock.time);
    EXPECT_EQ(founded->currentEmbedding(), voice(0));
    ASSERT_EQ(founded->rawEmbeddings().size(), 1U);
    EXPECT_EQ(founded->rawEmbeddings()[0].embedding, voice(0));
    EXPECT_TRUE(hasLine(log, Level::info, "Created new speaker 1 (distance to closest: inf)"));
    EXPECT_EQ(registry->nextSpeakerId(), 2);
    EXPECT_EQ(registry->highestSpeakerId(), 1);
}

TEST(AssignSpeaker, GivesShortSpeechToASpeakerItIsCloseTo) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1.0F);
    EXPECT_EQ(registry->assignSpeaker(voiceAt(0.3F, 0, 1), 0.1F), known);
}

TEST(AssignSpeaker, FoundsANewSpeakerAtExactlyTheThreshold) {
    const LogRecorder log;
    Registry registry;
    registry->assignSpeaker(voice(0), 1.0F);
    const auto match = registry->findSpeaker(voice(1), 1.0F);
    EXPECT_EQ(match.id, "1"); // the same distance counts here
    EXPECT_EQ(match.distance, 1.0F);
    const auto other = registry->assignSpeaker(voice(1), 1.0F, 1.0F);
    ASSERT_TRUE(other);
    EXPECT_EQ(other->id(), "2");
    EXPECT_TRUE(hasLine(log, Level::info, "Created new speaker 2 (distance to closest: 1.0)"));
}

TEST(AssignSpeaker, OnlyAttributesSpeechFromAfar) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1.0F);
    registry.clock.advance(std::chrono::seconds(60));
    EXPECT_EQ(registry->assignSpeaker(voiceAt(0.6F, 0, 1), 2.5F), known);
    EXPECT_EQ(known->duration(), 3.5F);
    EXPECT_EQ(known->updatedAt(), *registry.clock.time);
    EXPECT_EQ(known->currentEmbedding(), voice(0));
    EXPECT_EQ(known->rawEmbeddings().size(), 1U);
    EXPECT_EQ(known->updateCount(), 1);
}

TEST(AssignSpeaker, LearnsFromSpeechNearby) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1.0F);
    const auto speech = voiceAt(0.3F, 0, 1);
    registry.clock.advance(std::chrono::seconds(60));
    EXPECT_EQ(registry->assignSpeaker(speech, 0.25F), known);
    std::vector<float> mean(256);
    mean[0] = (1 + speech[0]) / 2;
    mean[1] = speech[1] / 2;
    l2Normalize(mean);
    std::vector<float> expected(256);
    expected[0] = 0.9F * mean[0] + 0.1F * speech[0];
    expected[1] = 0.9F * mean[1] + 0.1F * speech[1];
    l2Normalize(expected);
    EXPECT_NEAR(known->currentEmbedding()[0], expected[0], 1e-6);
    EXPECT_NEAR(known->currentEmbedding()[1], expected[1], 1e-6);
    EXPECT_EQ(known->rawEmbeddings().size(), 2U);
    EXPECT_EQ(known->updateCount(), 2);
    EXPECT_EQ(known->duration(), 1.25F);
    EXPECT_EQ(known->updatedAt(), *registry.clock.time);
    // What it has learnt counts at the next comparison.
    EXPECT_LT(registry->findSpeaker(speech).distance, 0.3F);
}

TEST(AssignSpeaker, LetsTheOldestOfFiftyObservationsGo) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1.0F);
    const UUID first = known->rawEmbeddings()[0].segmentId;
    std::optional<UUID> second;
    for (int i = 0; i < 50; ++i) {
        registry.clock.advance(std::chrono::seconds(1));
        registry->assignSpeaker(voiceAt(0.3F, 0, 1), 1.0F);
        second = second ? second : known->rawEmbeddings()[1].segmentId;
    }
    ASSERT_EQ(known->rawEmbeddings().size(), 50U);
    EXPECT_NE(known->rawEmbeddings().front().segmentId, first);
    EXPECT_EQ(known->rawEmbeddings().front().segmentId, *second);
}

TEST(AssignSpeaker, UsesTheThresholdsAsTheyAreSet) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1.0F);
    registry->setEmbeddingThreshold(0.2F);
    registry->assignSpeaker(voiceAt(0.3F, 0, 1), 1.0F);
    EXPECT_EQ(known->updateCount(), 1);
    registry->setSpeakerThreshold(0.25F);
    registry->setMinSpeechDuration(3.0F);
    EXPECT_EQ(registry->assignSpeaker(voiceAt(0.3F, 0, 1), 2.5F), nullptr);
    registry->setMinEmbeddingUpdateDuration(7.0F);
    EXPECT_EQ(registry->speakerThreshold(), 0.25F);
    EXPECT_EQ(registry->embeddingThreshold(), 0.2F);
    EXPECT_EQ(registry->minSpeechDuration(), 3.0F);
    EXPECT_EQ(registry->minEmbeddingUpdateDuration(), 7.0F);
}

TEST(AssignSpeaker, TheFirstIdAsTextWinsAmongTheEquallyNear) {
    Registry registry;
    for (const std::string id : {"2", "9", "10"}) {
        registry->upsertSpeaker(fieldsOf(id, voice(0)));
    }
    EXPECT_EQ(registry->assignSpeaker(voice(0), 1)->id(), "10");
}

TEST(AssignSpeaker, AllThatPointsAwayIsEquallyFar) {
    Registry registry;
    for (const auto& [id, length] : {std::pair("2", 1.0F), std::pair("1", 1.0F)}) {
        auto away = voice(0);
        away[0] = -length;
        registry->upsertSpeaker(fieldsOf(id, away));
    }
    EXPECT_EQ(registry->findSpeaker(voice(0), 2.0F).id, "1");
}

TEST(AssignSpeaker, BrokenEmbeddingsMatchNobodyAndHarmNobody) {
    Registry registry;
    registry->assignSpeaker(voice(0), 1);
    auto broken = voice(0);
    broken[200] = noNumber;
    for (const auto& embedding : {broken, std::vector<float>(256), std::vector<float>(256, infinity)}) {
        EXPECT_EQ(registry->assignSpeaker(embedding, 0.5F), nullptr);
        EXPECT_EQ(registry->findSpeaker(embedding).id, std::nullopt);
        EXPECT_EQ(registry->findSpeaker(embedding).distance, infinity);
        EXPECT_TRUE(registry->findMatchingSpeakers(embedding, 2.0F).empty());
    }
    // Long enough, it founds a speaker without a usable reference and without history.
    const auto founded = registry->assignSpeaker(broken, 1);
    ASSERT_TRUE(founded);
    EXPECT_TRUE(founded->rawEmbeddings().empty());
    EXPECT_EQ(registry->assignSpeaker(voiceAt(0.1F, 0, 3), 1)->id(), "1");
}

TEST(AssignSpeaker, PassesOverReferencesThatCannotBeCompared) {
    const LogRecorder log;
    Registry registry;
    registry->upsertSpeaker(fieldsOf("1", std::vector<float>(256)));
    registry->upsertSpeaker(fieldsOf("2", voice(0, 255)));
    registry->upsertSpeaker(fieldsOf("3", std::vector<float>(256, noNumber)));
    registry->upsertSpeaker(fieldsOf("4", {}));
    registry->upsertSpeaker(fieldsOf("5", voice(0)));
    EXPECT_EQ(registry->assignSpeaker(voice(0), 1)->id(), "5");
    EXPECT_EQ(log.messages(Level::warning), Strings(2, "Zero magnitude embedding detected"));
    EXPECT_EQ(log.messages(Level::error),
              (Strings{"Invalid embeddings: a.count=256, b.count=255", "Invalid embeddings: a.count=256, b.count=0"}));
}

TEST(UpdateExistingSpeaker, ReportsAnUnknownId) {
    const LogRecorder log;
    Registry registry;
    registry->updateExistingSpeaker("4", voice(0), 1, 0.1F);
    EXPECT_EQ(log.messages(Level::error), Strings{"Speaker 4 not found in database"});
}

TEST(UpdateExistingSpeaker, LearnsStrictlyBelowTheEmbeddingThreshold) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1);
    registry->updateExistingSpeaker("1", voice(1), 1, 0.56F);
    EXPECT_EQ(known->updateCount(), 1);
    EXPECT_EQ(known->duration(), 2.0F);
    registry->updateExistingSpeaker("1", voice(1), 1, 0.55F);
    EXPECT_EQ(known->updateCount(), 2);
    EXPECT_EQ(known->duration(), 3.0F);
}

TEST(UpdateExistingSpeaker, ChangesNothingForAFaintEmbeddingNearby) {
    Registry registry;
    const auto known = registry->assignSpeaker(voice(0), 1);
    registry.clock.advance(std::chrono::seconds(5));
    registry->updateExistingSpeaker("1", std::vector<float>(256), 1, 0.1F);
    EXPECT_EQ(known->duration(), 1.0F);
    EXPECT_NE(known->updatedAt(), *registry.clock.time);
}

TEST(FindMatchingSpeakers, ListsTheNearestFirst) {
    Registry registry;
    registry->upsertSpeaker(fieldsOf("1", voiceAt(0.5F, 0, 1)));
    registry->upsertSpeaker(fieldsOf("2", voiceAt(0.25F, 0, 2)));
    registry->upsertSpeaker(fieldsOf("3", voice(3)));
    registry->upsertSpeaker(fieldsOf("4", voice(4)));
    const auto matches = registry->findMatchingSpeakers(voice(0), 1.0F);
    ASSERT_EQ(matches.size(), 4U);
    EXPECT_EQ(matches[0].first, "2");
    EXPECT_EQ(matches[1].first, "1");
    EXPECT_EQ(matches[2], (std::pair<std::string, float>("3", 1.0F))); // at the threshold
    EXPECT_EQ(matches[3].first, "4");
    EXPECT_EQ(registry->findMatchingSpeakers(voice(0)).size(), 2U);
}

TEST(FindSpeaker, AcceptsEmbeddingsOfAnyLengthAndSize) {
    Registry registry;
    registry->assignSpeaker(voice(0), 1);
    auto loud = voiceAt(0.25F, 0, 1);
    for (float& value : loud) {
        value *= 1e12F; // its square is beyond what a quick comparison can take
    }
    EXPECT_NEAR(registry->findSpeaker(loud).distance, 0.25F, 1e-5);
    EXPECT_EQ(registry->findSpeaker(voice(0, 100)).id, std::nullopt);
    EXPECT_EQ(registry->findSpeaker({}).id, std::nullopt);
}

TEST(FindSpeakers, ReturnsSortedIds) {
    Registry registry;
    for (const std::string id : {"9", "10", "2"}) {
        registry->upsertSpeaker(fieldsOf(id, voice(0)));
    }
    EXPECT_EQ(registry->findSpeakers([](const Speaker& known) { return known.id() != "2"; }), (Strings{"10", "9"}));
    EXPECT_EQ(registry->speakerIds(), (Strings{"10", "2", "9"}));
}
