// A stream used from several threads at once; clean under a thread sanitizer.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/StreamingFixture.h"
#include "support/ScriptedRecogniser.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace VarnelSpeech::Testing {
namespace {

// Windows of a second, without context.
constexpr StreamingAsrConfig seconds{1.0, 1.0, 0.0, 0.0, 2.0, 0.6};

void streamTenSeconds(StreamingAsrManager& stream, float level) {
    const std::vector<float> block(1600, level);
    for (int i = 0; i < 100; ++i)
        if (i % 2 == 0)
            stream.streamAudio(PcmView::of(block, 16000, 1));
        else
            stream.streamAudio(speechBuffer(block));
}

TEST(StreamingAsrManagerConcurrency, TakesAudioFromSeveralThreads) {
    ScriptedRecogniser recogniser{{"▁one", "▁two"}};
    StreamingAsrManager stream(seconds);
    stream.start(recogniser.models());
    {
        std::jthread first([&] { streamTenSeconds(stream, 0.001F); });
        std::jthread second([&] { streamTenSeconds(stream, 0.002F); });
    }
    EXPECT_NE(stream.finish(), "");
    EXPECT_EQ(stream.processedChunks(), 20) << "nothing is lost";
}

TEST(StreamingAsrManagerConcurrency, CanBeReadResetAndListenedToWhileItWorks) {
    ScriptedRecogniser recogniser{{"▁one"}};
    StreamingAsrManager stream(seconds);
    stream.start(recogniser.models());
    std::atomic<bool> isDone = false;
    std::atomic<int> heard = 0;
    {
        std::jthread reader([&] {
            while (!isDone) {
                static_cast<void>(stream.confirmedTranscript() + stream.volatileTranscript());
                static_cast<void>(stream.processedChunks());
                static_cast<void>(stream.startTime());
                static_cast<void>(stream.backlogSeconds() + stream.skippedSeconds());
            }
        });
        std::jthread listener([&] {
            while (!isDone) {
                stream.transcriptionUpdates([&](const Update&) { ++heard; });
                stream.transcriptionUpdates({});
            }
        });
        std::jthread resetter([&] {
            for (int i = 0; i < 10; ++i)
                stream.reset();
        });
        streamTenSeconds(stream, 0.001F);
        stream.finish();
        isDone = true;
    }
    stream.reset();
    EXPECT_EQ(stream.processedChunks(), 0);
    EXPECT_LE(heard, 20);
}

TEST(StreamingAsrManagerConcurrency, ASinkThatIsTakenOffIsNotCalledAnyMore) {
    ScriptedRecogniser recogniser{{"▁one"}};
    for (int round = 0; round < 20; ++round) {
        StreamingAsrManager stream(seconds);
        stream.start(recogniser.models());
        std::atomic<bool> isGone = false;
        std::atomic<bool> isCalledLate = false;
        stream.transcriptionUpdates([&](const Update&) { isCalledLate = isCalledLate || isGone; });
        streamTenSeconds(stream, 0.001F);
        if (round % 2 == 0)
            stream.transcriptionUpdates({});
        else
            stream.cancel();
        isGone = true;
        stream.finish();
        EXPECT_FALSE(isCalledLate);
    }
}

TEST(StreamingAsrManagerConcurrency, EndsFromSeveralThreadsAtOnce) {
    ScriptedRecogniser recogniser{{"▁one"}};
    StreamingAsrManager stream(seconds);
    stream.start(recogniser.models());
    streamTenSeconds(stream, 0.001F);
    std::jthread first([&] { stream.finish(); });
    std::jthread second([&] { stream.finish(); });
    stream.cancel();
}

} // namespace
} // namespace VarnelSpeech::Testing
