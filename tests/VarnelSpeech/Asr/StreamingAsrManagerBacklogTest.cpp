// A recogniser that is slower than the audio, and a stop that does not wait for it.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/ScriptedRecognizer.h"
#include "VarnelSpeech/Asr/StreamingFixture.h"
#include "support/LogRecorder.h"
#include "support/ScriptedRecogniser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Level = AppLogger::Level;

constexpr int sampleRate = 16000;

// 12 minutes while the recogniser is at its first window: 12 s are in that window, 600 s may wait, a skip makes room
// for a minute. Of what comes second by second after the 12 s, 708 s, the last 586 s are left in the end.
TEST(StreamingAsrManagerBacklog, IsBoundedAndWhatComesAfterAGapKeepsItsTime) {
    const LogRecorder log;
    constexpr int frameAfterGap = 1740; // 139.2 s
    ScriptedRecognizer recognizer{{{frameAfterGap, 42}}};
    Gate gate;
    Updates updates;
    StreamingAsrManager stream({10.0, 1.0, 2.0, 2.0, 2.0, 0.4});
    stream.transcriptionUpdates([&](const Update& update) {
        updates.sink()(update);
        gate.pass();
    });
    stream.start(recognizer.models());
    const auto audio = ScriptedRecognizer::numberedAudio(std::size_t{720} * sampleRate);
    streamInPieces(stream, audio, sampleRate);
    // The intake comes to this buffer when it has taken in all before it.
    stream.streamAudio(PcmView::of(audio, 0.0, 1));
    ASSERT_TRUE(log.waitFor("Audio buffer processing error"));
    gate.waitUntilReached();
    EXPECT_DOUBLE_EQ(stream.backlogSeconds(), 586.0);
    gate.open();
    stream.finish();

    EXPECT_DOUBLE_EQ(stream.backlogSeconds(), 0.0);
    EXPECT_DOUBLE_EQ(stream.skippedSeconds(), 124.0) << "134 s, less the 10 that had been heard";
    EXPECT_THAT(log.messages(Level::warning),
                ::testing::Contains("Live recognition is too slow here: skipped 124.0 s of audio, 124.0 s in all"));
    const auto& windows = recognizer.windows();
    ASSERT_EQ(windows.size(), 1U + 59U);
    EXPECT_EQ(windows[0].lastSample, 12 * sampleRate - 1);
    EXPECT_EQ(windows[1].start, 134 * sampleRate);
    EXPECT_EQ(windows.back().lastSample, 720 * sampleRate - 1);
    const Update afterGap = updates.all().at(1);
    ASSERT_EQ(afterGap.tokenIds, std::vector<int>{42});
    EXPECT_DOUBLE_EQ(afterGap.tokenTimings.at(0).startTime, frameAfterGap * 0.08);
    EXPECT_TRUE(afterGap.isConfirmed);
}

// A recogniser that stays in its second window until the gate opens.
class StreamingAsrManagerStop : public ::testing::Test {
protected:
    StreamingAsrManagerStop() {
        recogniser.onWindow = [this](std::size_t window) {
            if (window == 1)
                gate.pass();
        };
        stream.transcriptionUpdates(updates.sink());
        stream.start(recogniser.models());
        streamInPieces(stream, ScriptedRecogniser::spokenAudio(20.0, {{30, 1}, {80, 2}, {130, 3}}), 4000);
        gate.waitUntilReached();
    }

    ~StreamingAsrManagerStop() override { gate.open(); }

    const LogRecorder log;
    ScriptedRecogniser recogniser{{"▁one", "▁two", "▁three"}};
    Gate gate;
    Updates updates;
    StreamingAsrManager stream{{4.0, 1.0, 0.0, 0.0, 2.0, 0.6}};
};

TEST_F(StreamingAsrManagerStop, AFinishThatGivesUpReturnsWhatThereIs) {
    std::stop_source giveUp;
    giveUp.request_stop();
    EXPECT_EQ(stream.finish(giveUp.get_token()), "one");
    EXPECT_THAT(log.messages(Level::info),
                ::testing::Contains(::testing::MatchesRegex("Finished without [0-9.]+ s of audio that waited")));
    gate.open();
    EXPECT_EQ(stream.finish(), "one") << "the window in work does not count any more";
    EXPECT_EQ(updates.texts(), std::vector<std::string>{"one"});
    EXPECT_EQ(stream.processedChunks(), 1);
}

TEST_F(StreamingAsrManagerStop, AFinishCanGiveUpWhileItWaits) {
    std::stop_source giveUp;
    std::jthread impatient([&] {
        log.waitFor("Finishing streaming ASR...");
        giveUp.request_stop();
    });
    EXPECT_EQ(stream.finish(giveUp.get_token()), "one");
}

TEST_F(StreamingAsrManagerStop, AFinishThatIsNotGivenUpHearsAll) {
    std::jthread opener([&] {
        log.waitFor("Finishing streaming ASR...");
        gate.open();
    });
    const std::stop_source patient;
    EXPECT_EQ(stream.finish(patient.get_token()), "one two three");
    EXPECT_EQ(stream.processedChunks(), 5);
}

TEST_F(StreamingAsrManagerStop, ACancelDoesNotWaitForTheWindowInWork) {
    stream.cancel();
    EXPECT_EQ(stream.volatileTranscript(), "one");
    gate.open();
    EXPECT_EQ(stream.finish(), "one");
    EXPECT_EQ(updates.texts(), std::vector<std::string>{"one"});
}

TEST_F(StreamingAsrManagerStop, AResetWaitsForTheWindowInWork) {
    std::jthread opener([&] { gate.open(); });
    stream.reset();
    stream.cancel();
    stream.finish();
}

TEST_F(StreamingAsrManagerStop, CanBeDestroyedInMidWindow) {
    gate.open();
}

} // namespace
} // namespace VarnelSpeech::Testing
