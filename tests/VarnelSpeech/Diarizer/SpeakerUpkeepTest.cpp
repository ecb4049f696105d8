#include "VoiceFixtures.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;
using Level = AppLogger::Level;

namespace {

// Speakers "1", "2" and "3", the second permanent.
struct Household : Registry {
    Household() {
        for (std::size_t axis = 1; axis <= 3; ++axis) {
            manager.upsertSpeaker(fieldsOf(std::to_string(axis), voice(axis)));
        }
        manager.markSpeakerAsPermanent("2");
    }
};

} // namespace

TEST(SpeakerPermanence, IsMarkedRevokedAndReset) {
    const LogRecorder log;
    Household home;
    EXPECT_TRUE(hasLine(log, Level::info, "Marking speaker 2 as permanent."));
    EXPECT_EQ(home->permanentSpeakerIds(), Strings{"2"});
    home->revokePermanence("2");
    EXPECT_TRUE(hasLine(log, Level::info, "Revoking permanence from speaker 2"));
    EXPECT_TRUE(home->permanentSpeakerIds().empty());
    home->markSpeakerAsPermanent("1");
    home->markSpeakerAsPermanent("3");
    EXPECT_EQ(home->permanentSpeakerIds(), (Strings{"1", "3"}));
    home->resetPermanentFlags();
    EXPECT_TRUE(home->permanentSpeakerIds().empty());
}

TEST(SpeakerPermanence, ReportsUnknownIds) {
    const LogRecorder log;
    Registry registry;
    registry->markSpeakerAsPermanent("8");
    registry->revokePermanence("9");
    EXPECT_EQ(log.messages(Level::warning),
              (Strings{"Failed to mark speaker 8 as permanent (speaker not found).",
                       "Failed to revoke permanence from speaker 9 (speaker not found)."}));
}

TEST(RemoveSpeaker, RemovesKeepsThePermanentAndReportsTheUnknown) {
    const LogRecorder log;
    Household home;
    home->removeSpeaker("1", PermanentSpeakers::keep);
    home->removeSpeaker("2", PermanentSpeakers::keep);
    home->removeSpeaker("1", PermanentSpeakers::keep);
    EXPECT_EQ(home->speakerIds(), (Strings{"2", "3"}));
    EXPECT_TRUE(hasLine(log, Level::info, "Removing speaker: 1"));
    EXPECT_EQ(log.messages(Level::warning), (Strings{"Failed to remove speaker: 2 (Speaker is permanent)",
                                                     "Failed to remove speaker: 1 (Speaker not found)"}));
    home->removeSpeaker("2", PermanentSpeakers::treatAlike);
    EXPECT_EQ(home->speakerIds(), Strings{"3"});
    EXPECT_EQ(home->findSpeaker(voice(2)).id, std::nullopt);
    EXPECT_EQ(home->findSpeaker(voice(3)).id, "3");
}

TEST(RemoveSpeaker, DoesNotGiveTheNumberAgain) {
    Registry registry;
    registry->assignSpeaker(voice(0), 1);
    registry->removeSpeaker("1", PermanentSpeakers::keep);
    EXPECT_EQ(registry->assignSpeaker(voice(0), 1)->id(), "2");
}

TEST(RemoveSpeakersInactive, RemovesThoseStrictlyBeforeTheCutOff) {
    const LogRecorder log;
    Registry registry;
    for (int i = 1; i <= 4; ++i) {
        SpeakerFields fields = fieldsOf(std::to_string(i), voice(static_cast<std::size_t>(i)));
        fields.updatedAt = day(i);
        fields.isPermanent = i == 2;
        registry->upsertSpeaker(fields);
    }
    registry->removeSpeakersInactive(day(3), PermanentSpeakers::keep);
    EXPECT_EQ(registry->speakerIds(), (Strings{"2", "3", "4"}));
    EXPECT_TRUE(hasLine(log, Level::info, "Removing speaker 1 due to inactivity"));
    registry->removeSpeakersInactive(day(3), PermanentSpeakers::treatAlike);
    EXPECT_EQ(registry->speakerIds(), (Strings{"3", "4"}));
}

TEST(RemoveSpeakersInactive, CountsIdleSecondsFromNow) {
    Registry registry;
    registry->assignSpeaker(voice(0), 1);
    registry.clock.advance(std::chrono::seconds(100));
    registry->assignSpeaker(voice(1), 1);
    registry->removeSpeakersInactive(std::chrono::seconds(100), PermanentSpeakers::keep); // exactly: stays
    EXPECT_EQ(registry->speakerCount(), 2U);
    registry->removeSpeakersInactive(std::chrono::duration<double>(99.5), PermanentSpeakers::keep);
    EXPECT_EQ(registry->speakerIds(), Strings{"2"});
}

TEST(RemoveSpeakersInactive, TakesIntervalsBeyondAllTime) {
    Registry registry;
    registry->assignSpeaker(voice(0), 1);
    for (const double seconds : {1e10, 1e300, static_cast<double>(infinity), static_cast<double>(noNumber)}) {
        registry->removeSpeakersInactive(std::chrono::duration<double>(seconds), PermanentSpeakers::treatAlike);
        EXPECT_EQ(registry->speakerCount(), 1U) << seconds;
    }
    registry->removeSpeakersInactive(std::chrono::duration<double>(-1e300), PermanentSpeakers::treatAlike);
    EXPECT_EQ(registry->speakerCount(), 0U);
}

TEST(RemoveSpeakers, RemovesWhatThePredicateNames) {
    const LogRecorder log;
    Household home;
    home->removeSpeakers([](const Speaker& known) { return known.id() != "3"; }, PermanentSpeakers::keep);
    EXPECT_EQ(home->speakerIds(), (Strings{"2", "3"}));
    EXPECT_TRUE(hasLine(log, Level::info, "Removing speaker 1 based on predicate"));
    home->removeSpeakers([](const Speaker&) { return true; }, PermanentSpeakers::treatAlike);
    EXPECT_EQ(home->speakerCount(), 0U);
}

TEST(RemoveSpeakers, ChangesNothingWhenThePredicateThrows) {
    Household home;
    EXPECT_THROW(home->removeSpeakers(
                     [](const Speaker& known) {
                         if (known.id() == "3")
                             throw std::runtime_error("no");
                         return true;
                     },
                     PermanentSpeakers::treatAlike),
                 std::runtime_error);
    EXPECT_EQ(home->speakerCount(), 3U);
    home->removeSpeaker("1", PermanentSpeakers::keep); // the lock is free
}

TEST(SpeakerReset, EmptiesTheDatabaseAndNumbersFromOne) {
    const LogRecorder log;
    Household home;
    home->reset();
    EXPECT_EQ(home->speakerCount(), 0U);
    EXPECT_EQ(home->highestSpeakerId(), 0);
    EXPECT_TRUE(hasLine(log, Level::info, "Speaker database reset"));
    EXPECT_EQ(home->assignSpeaker(voice(0), 1)->id(), "1");
}

TEST(SpeakerReset, NumbersOnFromTheHighestSurvivor) {
    Household home;
    home->reset(PermanentSpeakers::keep);
    EXPECT_EQ(home->speakerIds(), Strings{"2"});
    EXPECT_EQ(home->highestSpeakerId(), 2);
    EXPECT_EQ(home->findSpeaker(voice(1)).id, std::nullopt);
    EXPECT_EQ(home->findSpeaker(voice(2)).id, "2");
    EXPECT_EQ(home->assignSpeaker(voice(0), 1)->id(), "3");
}

TEST(SpeakerReading, GivesSpeakersAndSnapshotsSortedById) {
    Household home;
    EXPECT_EQ(home->getSpeaker("2")->name(), "Speaker 2");
    EXPECT_EQ(home->getSpeaker("7"), nullptr);
    EXPECT_EQ(home->sendableSpeaker("3")->mainEmbedding, voice(3));
    EXPECT_FALSE(home->sendableSpeaker("7"));
    const auto list = home->speakerList();
    const auto snapshots = home->sendableSpeakers();
    Strings visited;
    home->forEachSpeaker([&visited](const Speaker& known) { visited.push_back(known.id()); });
    EXPECT_EQ(visited, (Strings{"1", "2", "3"}));
    ASSERT_EQ(list.size(), 3U);
    ASSERT_EQ(snapshots.size(), 3U);
    EXPECT_EQ(list[2], home->getSpeaker("3"));
    EXPECT_EQ(snapshots[2].id, 3);
}
