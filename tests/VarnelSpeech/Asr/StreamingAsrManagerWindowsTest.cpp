// What the models get to hear of a stream.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/ScriptedRecognizer.h"
#include "VarnelSpeech/Asr/StreamingFixture.h"
#include "support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Window = ScriptedRecognizer::Window;

class StreamingAsrManagerWindows : public ::testing::Test {
protected:
    void stream(std::size_t samples, std::size_t pieceSamples = 4096) {
        manager.start(recognizer.models());
        streamInPieces(manager, ScriptedRecognizer::numberedAudio(samples), pieceSamples);
        manager.finish();
    }

    // Each window as its first and its last sample.
    std::vector<std::pair<int, int>> windows() const {
        std::vector<std::pair<int, int>> spans;
        for (const Window& window : recognizer.windows())
            spans.emplace_back(window.start, window.lastSample);
        return spans;
    }

    const LogRecorder log;
    ScriptedRecognizer recognizer{{{20, 7}}};
    StreamingAsrManager manager{StreamingAsrConfig::liveCaptions()};
};

TEST_F(StreamingAsrManagerWindows, HaveASecondBeforeAndHalfASecondBehindTheirThreeNewOnes) {
    stream(104000);
    EXPECT_THAT(windows(), ElementsAre(std::pair(0, 55999), std::pair(32000, 103999), std::pair(80000, 103999)));
    EXPECT_EQ(recognizer.windows()[0].audioLength, 56320) << "whole frames, as long as nothing was heard";
    EXPECT_EQ(recognizer.windows()[1].audioLength, 72000);
}

TEST_F(StreamingAsrManagerWindows, AShortStreamIsOneThatIsTheLast) {
    stream(12800);
    EXPECT_THAT(windows(), ElementsAre(std::pair(0, 12799)));
    // Ten frames, and five looks for tokens that are still to come.
    EXPECT_EQ(recognizer.joint().callCount(), 15U);
}

TEST_F(StreamingAsrManagerWindows, TheEndOfAWholeWindowLeavesItsRightContext) {
    stream(56000);
    EXPECT_THAT(windows(), ElementsAre(std::pair(0, 55999), std::pair(32000, 55999)));
    EXPECT_EQ(recognizer.windows()[1].audioLength, 24000);
}

TEST_F(StreamingAsrManagerWindows, DoNotDependOnHowTheStreamIsCut) {
    stream(150000, 701);
    const auto inSmallPieces = windows();
    ScriptedRecognizer other{{}};
    StreamingAsrManager whole(StreamingAsrConfig::liveCaptions());
    whole.start(other.models());
    whole.streamAudio(speechBuffer(ScriptedRecognizer::numberedAudio(150000)));
    whole.finish();
    ASSERT_EQ(other.windows().size(), inSmallPieces.size());
    for (std::size_t i = 0; i < inSmallPieces.size(); ++i)
        EXPECT_EQ(inSmallPieces[i], std::pair(other.windows()[i].start, other.windows()[i].lastSample));
}

TEST_F(StreamingAsrManagerWindows, ABufferThatCannotBeConvertedIsMissingFromTheCount) {
    manager.start(recognizer.models());
    const auto audio = ScriptedRecognizer::numberedAudio(56000);
    const std::vector<float> blocks(4096);
    manager.streamAudio(speechBuffer(std::span(audio).first(30000)));
    manager.streamAudio(PcmView::of(blocks, 0.0, 1));
    manager.streamAudio(PcmBuffer({48000, 6, AudioSampleType::int16, true}, 4096));
    manager.streamAudio(PcmBuffer({1e-6, 1, AudioSampleType::float32, true}, 4096));
    manager.streamAudio(speechBuffer(std::span(audio).subspan(30000)));
    manager.finish();
    EXPECT_THAT(windows(), ElementsAre(std::pair(0, 55999), std::pair(32000, 55999)));

    std::vector<LogRecorder::Line> lines;
    for (const auto& line : log.lines())
        if (line.message.find("udio buffer") != std::string::npos)
            lines.push_back(line);
    const std::vector<LogRecorder::Line> ofOne{
        {AppLogger::Level::error, "StreamingASR", "Audio buffer processing error: Failed to create conversion buffer"},
        {AppLogger::Level::warning, "StreamingASR",
         "Attempting error recovery for: Audio buffer processing failed: Failed to create conversion buffer"},
        {AppLogger::Level::info, "StreamingASR", "Recovering from audio buffer error"}};
    ASSERT_EQ(lines.size(), 9U);
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(lines[i].message, ofOne[i % 3].message);
    EXPECT_EQ(lines[0], ofOne[0]);
    EXPECT_EQ(lines[1], ofOne[1]);
    EXPECT_EQ(lines[2], ofOne[2]);
}

TEST_F(StreamingAsrManagerWindows, TakeAnyDevicesFormat) {
    // Seven seconds each, in blocks of 4096 frames: two windows, and what is left at the end.
    for (const AudioFormat& format :
         {AudioFormat{48000, 2, AudioSampleType::float32, true}, AudioFormat{44100, 1, AudioSampleType::int16, true},
          AudioFormat{192000, 8, AudioSampleType::float32, true},
          AudioFormat{16000, 2, AudioSampleType::float32, false},
          AudioFormat{16000, 1, AudioSampleType::float32, true}}) {
        ScriptedRecognizer own{{}};
        StreamingAsrManager session(StreamingAsrConfig::liveCaptions());
        session.start(own.models());
        for (std::size_t frame = 0; frame < static_cast<std::size_t>(7 * format.sampleRate); frame += 4096)
            session.streamAudio(PcmBuffer(format, 4096));
        session.finish();
        EXPECT_EQ(session.processedChunks(), 3) << describe(format);
    }
    EXPECT_THAT(log.messages(AppLogger::Level::error), IsEmpty());
}

TEST_F(StreamingAsrManagerWindows, WhatIsNoSoundDoesNotReachTheModels) {
    manager.start(recognizer.models());
    std::vector<float> audio(56000, std::numeric_limits<float>::quiet_NaN());
    audio[40000] = 0.5F;
    manager.streamAudio(speechBuffer(audio));
    manager.finish();
    ASSERT_EQ(recognizer.windows().size(), 2U);
    EXPECT_EQ(recognizer.windows()[0].start, 0);
    EXPECT_TRUE(recognizer.windows()[0].isPaddedWithZeros);
    EXPECT_EQ(manager.processedChunks(), 2);
}

} // namespace
} // namespace VarnelSpeech::Testing
