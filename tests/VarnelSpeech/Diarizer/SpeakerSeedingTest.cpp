#include "VoiceFixtures.h"

#include <gtest/gtest.h>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;
using Level = AppLogger::Level;
using Mode = SpeakerInitializationMode;

TEST(InitializeKnownSpeakers, NumbersOnFromTheLargestSeed) {
    const LogRecorder log;
    Registry registry;
    registry->initializeKnownSpeakers({speaker("7", voice(0)), speaker("12", voice(1))});
    EXPECT_EQ(registry->assignSpeaker(voice(2), 1)->id(), "13");
    EXPECT_TRUE(hasLine(log, Level::info, "Initialized known speaker: 7"));
    EXPECT_TRUE(hasLine(log, Level::info, "Initialized with 2 known speakers, next ID will be: 13"));
    EXPECT_EQ(registry->assignSpeaker(voice(1), 0.1F)->id(), "12");
}

TEST(InitializeKnownSpeakers, NeverGivesAnIdTwice) {
    Registry registry;
    registry->upsertSpeaker(fieldsOf("20", voice(0)));
    registry->initializeKnownSpeakers({speaker("7", voice(1)), speaker("Ada", voice(2))});
    EXPECT_EQ(registry->highestSpeakerId(), 20);
    EXPECT_EQ(registry->nextSpeakerId(), 21);
}

TEST(InitializeKnownSpeakers, NumbersFromOneWithoutDecimalIds) {
    const LogRecorder log;
    Registry registry;
    registry->initializeKnownSpeakers({speaker("Ada", voice(0)), nullptr});
    EXPECT_EQ(registry->highestSpeakerId(), 0);
    EXPECT_TRUE(hasLine(log, Level::info, "Initialized with 1 known speakers, next ID will be: 1"));
}

TEST(InitializeKnownSpeakers, RunsOutOfNumbersWithoutGivingOneTwice) {
    Registry registry;
    registry->initializeKnownSpeakers({speaker("9223372036854775806", voice(0))});
    const auto first = registry->assignSpeaker(voice(1), 1);
    const auto second = registry->assignSpeaker(voice(2), 1);
    EXPECT_EQ(registry->speakerCount(), 3U);
    EXPECT_NE(first->id(), second->id());
    registry->upsertSpeaker(fieldsOf("9223372036854775807", voice(3)));
    registry->assignSpeaker(voice(4), 1);
    EXPECT_EQ(registry->speakerCount(), 5U);
}

TEST(InitializeKnownSpeakers, DropsSpeakersOfAnotherEmbeddingSize) {
    const LogRecorder log;
    Registry registry;
    registry->initializeKnownSpeakers({speaker("7", voice(0, 192)), speaker("2", voice(0))});
    EXPECT_EQ(registry->speakerIds(), Strings{"2"});
    EXPECT_EQ(registry->nextSpeakerId(), 3);
    EXPECT_TRUE(hasLine(log, Level::warning, "Skipping speaker 7 - invalid embedding size: 192"));
}

namespace {

// A registry with "1" (permanent or not), seeded again with another "1".
struct Reseeded : Registry {
    Reseeded(bool isPermanent, Mode mode, PermanentSpeakers permanent) {
        SpeakerFields fields = fieldsOf("1", voice(0));
        fields.name = "Ada";
        fields.duration = 10;
        fields.rawEmbeddings = observations(1, 1, voice(0));
        fields.isPermanent = isPermanent;
        manager.upsertSpeaker(fields);
        fields.name = "Bob";
        fields.rawEmbeddings = observations(1, 2, voice(1));
        fields.isPermanent = false;
        fields.currentEmbedding = voice(1);
        manager.initializeKnownSpeakers({std::make_shared<Speaker>(fields, day(2))}, mode, permanent);
    }

    std::string name() const { return manager.getSpeaker("1")->name(); }

    float duration() const { return manager.getSpeaker("1")->duration(); }
};

} // namespace

TEST(InitializeKnownSpeakers, SkipsWhatIsThere) {
    const LogRecorder log;
    const Reseeded registry(false, Mode::skip, PermanentSpeakers::keep);
    EXPECT_EQ(registry.name(), "Ada");
    EXPECT_EQ(registry.duration(), 10.0F);
    EXPECT_TRUE(hasLine(log, Level::info, "Speaker 1 is already initialized. Skipping new speaker."));
}

TEST(InitializeKnownSpeakers, OverwritesAllButThePermanent) {
    const LogRecorder log;
    Reseeded replaced(false, Mode::overwrite, PermanentSpeakers::keep);
    EXPECT_EQ(replaced.name(), "Bob");
    EXPECT_EQ(replaced->findSpeaker(voice(1)).id, "1");
    EXPECT_EQ(replaced->findSpeaker(voice(0)).id, std::nullopt);
    EXPECT_TRUE(hasLine(log, Level::info, "Speaker 1 is already initialized. Overwriting old speaker."));
    EXPECT_EQ(Reseeded(true, Mode::overwrite, PermanentSpeakers::keep).name(), "Ada");
    EXPECT_EQ(log.messages(Level::warning), Strings{"Failed to overwrite Speaker 1 because it is permanent. Skipping"});
    EXPECT_EQ(Reseeded(true, Mode::overwrite, PermanentSpeakers::treatAlike).name(), "Bob");
}

TEST(InitializeKnownSpeakers, MergesIntoAllButThePermanent) {
    const LogRecorder log;
    Reseeded merged(false, Mode::merge, PermanentSpeakers::keep);
    EXPECT_EQ(merged.name(), "Ada");
    EXPECT_EQ(merged.duration(), 20.0F);
    EXPECT_EQ(merged->getSpeaker("1")->rawEmbeddings().size(), 2U);
    EXPECT_NEAR(merged->findSpeaker(voice(1)).distance, 1 - std::sqrt(0.5F), 1e-6);
    EXPECT_TRUE(hasLine(log, Level::info, "Speaker 1 is already initialized. Merging with old speaker."));
    EXPECT_EQ(Reseeded(true, Mode::merge, PermanentSpeakers::keep).duration(), 10.0F);
    EXPECT_EQ(log.messages(Level::warning),
              Strings{"Failed to merge Speaker 1 because the existing speaker is permanent. Skipping"});
    EXPECT_EQ(Reseeded(true, Mode::merge, PermanentSpeakers::treatAlike).duration(), 20.0F);
}

TEST(InitializeKnownSpeakers, DoesNotMergeASpeakerWithItself) {
    Registry registry;
    const auto same = speaker("1", voice(0));
    registry->initializeKnownSpeakers({same, same}, Mode::merge);
    EXPECT_EQ(registry->getSpeaker("1")->duration(), 1.0F);
}

TEST(InitializeKnownSpeakers, ResetsFirstAndSkipsTheSurvivors) {
    const LogRecorder log;
    const Reseeded kept(true, Mode::reset, PermanentSpeakers::keep);
    EXPECT_EQ(kept.name(), "Ada");
    EXPECT_TRUE(hasLine(log, Level::info, "Speaker database reset"));
    EXPECT_TRUE(hasLine(log, Level::info, "Speaker 1 is already initialized. Skipping new speaker."));
    EXPECT_EQ(Reseeded(true, Mode::reset, PermanentSpeakers::treatAlike).name(), "Bob");
    EXPECT_EQ(Reseeded(false, Mode::reset, PermanentSpeakers::keep).name(), "Bob");
}

TEST(UpsertSpeaker, InsertsACopyAndNumbersOn) {
    const LogRecorder log;
    Registry registry;
    const Speaker given(voice(0), "5", "Ada", 2.0F, day(3));
    registry->upsertSpeaker(given);
    const auto inserted = registry->getSpeaker("5");
    EXPECT_NE(inserted.get(), &given);
    EXPECT_EQ(inserted->name(), "Ada");
    EXPECT_EQ(inserted->createdAt(), day(3));
    EXPECT_EQ(inserted->updatedAt(), day(3));
    EXPECT_TRUE(hasLine(log, Level::info, "Inserted new speaker: 5"));
    EXPECT_EQ(registry->nextSpeakerId(), 6);
    EXPECT_EQ(registry->highestSpeakerId(), 5);
    registry->upsertSpeaker(fieldsOf("2", voice(1)));
    registry->upsertSpeaker(fieldsOf("Bob", voice(2)));
    EXPECT_EQ(registry->nextSpeakerId(), 6);
    EXPECT_EQ(registry->getSpeaker("2")->createdAt(), *registry.clock.time); // none given: now
}

TEST(UpsertSpeaker, ReplacesTheFieldsAndKeepsPermanence) {
    const LogRecorder log;
    Registry registry;
    SpeakerFields fields = fieldsOf("1", voice(0));
    fields.createdAt = day(1);
    fields.isPermanent = true;
    registry->upsertSpeaker(fields);
    const auto known = registry->getSpeaker("1");
    SpeakerFields other = fieldsOf("1", {3, 4});
    other.currentEmbedding.resize(256);
    other.name = "Ada";
    other.duration = 7;
    other.updateCount = 4;
    other.rawEmbeddings = observations(60, 1, voice(1));
    other.createdAt = day(2);
    other.updatedAt = day(5);
    registry->upsertSpeaker(other);
    EXPECT_EQ(registry->getSpeaker("1"), known);
    EXPECT_EQ(known->name(), "Ada");
    EXPECT_EQ(known->duration(), 7.0F);
    EXPECT_EQ(known->updateCount(), 4);
    EXPECT_EQ(known->createdAt(), day(1));
    EXPECT_EQ(known->updatedAt(), day(5));
    EXPECT_TRUE(known->isPermanent());
    EXPECT_NEAR(known->currentEmbedding()[1], 0.8F, 1e-6);
    ASSERT_EQ(known->rawEmbeddings().size(), 50U); // the oldest of sixty left
    EXPECT_EQ(known->rawEmbeddings().back().segmentId, other.rawEmbeddings.back().segmentId);
    EXPECT_TRUE(hasLine(log, Level::info, "Updated existing speaker: 1"));
    EXPECT_NEAR(registry->findSpeaker(voice(1)).distance, 0.2F, 1e-6);
}
