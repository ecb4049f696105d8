// Many readers and writers at once. What it is worth shows under ThreadSanitizer.
#include "VoiceFixtures.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;

namespace {

constexpr int rounds = 60;

void write(SpeakerManager& manager, int writer) {
    for (int i = 0; i < rounds; ++i) {
        const auto axis = static_cast<std::size_t>(writer * 8 + i % 8);
        const std::string id = std::to_string(axis + 1);
        manager.assignSpeaker(voiceAt(0.3F, axis, 200), 1.5F);
        manager.assignSpeaker(voice(axis), 1.5F);
        switch (i % 9) {
        case 0:
            manager.upsertSpeaker(fieldsOf(id, voice(axis)));
            break;
        case 1:
            manager.markSpeakerAsPermanent(id);
            break;
        case 2:
            manager.mergeSpeaker(id, "1", std::nullopt, PermanentSpeakers::keep);
            break;
        case 3:
            manager.removeSpeaker(id, PermanentSpeakers::treatAlike);
            break;
        case 4:
            manager.initializeKnownSpeakers({speaker(id, voice(axis))}, SpeakerInitializationMode::merge);
            break;
        case 5:
            manager.resetPermanentFlags();
            break;
        case 6:
            manager.removeSpeakersInactive(day(1), PermanentSpeakers::keep);
            break;
        case 7:
            manager.reassignSegment(UUID::fresh(), id, "1");
            break;
        default:
            manager.setSpeakerThreshold(0.84F);
            break;
        }
    }
}

// Each snapshot is whole: of unit length or, for a broken reference, empty of meaning; never half written.
void read(const SpeakerManager& manager, std::atomic<int>& halves) {
    for (int i = 0; i < rounds; ++i) {
        const auto axis = static_cast<std::size_t>(i % 32);
        manager.findSpeaker(voice(axis));
        manager.findMatchingSpeakers(voice(axis), 1.0F);
        manager.findMergeablePairs(0.1F, PermanentPairs::include);
        for (const SendableSpeaker& snapshot : manager.sendableSpeakers()) {
            float sum = 0;
            for (const float value : snapshot.mainEmbedding) {
                sum += value * value;
            }
            halves += snapshot.mainEmbedding.size() == 256 && std::abs(sum - 1) < 1e-3F ? 0 : 1;
        }
        if (const auto known = manager.getSpeaker("1")) {
            halves += known->id() == "1" ? 0 : 1;
        }
        manager.permanentSpeakerIds();
        manager.speakerThreshold();
    }
}

} // namespace

TEST(SpeakerManagerConcurrency, ReadersSeeWholeSpeakersWhileWritersWork) {
    SpeakerManager manager(0.84F, 0.56F, 1.0F, 2.0F);
    std::atomic<int> halves = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&manager, i] { write(manager, i); });
        threads.emplace_back([&manager, &halves] { read(manager, halves); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(halves, 0);
    // Rows and speakers still belong together.
    for (const SendableSpeaker& known : manager.sendableSpeakers()) {
        EXPECT_LT(manager.findSpeaker(known.mainEmbedding).distance, 1e-5F);
    }
}

TEST(SpeakerManagerConcurrency, EveryNewVoiceGetsANumberOfItsOwn) {
    SpeakerManager manager(0.84F, 0.56F, 1.0F, 2.0F);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&manager, thread] {
            for (std::size_t i = 0; i < 50; ++i) {
                manager.assignSpeaker(voice(thread * 50 + i), 1.0F);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(manager.speakerCount(), 200U);
    EXPECT_EQ(manager.highestSpeakerId(), 200);
}
