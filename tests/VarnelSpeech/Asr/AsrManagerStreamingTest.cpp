// AsrManager, a window of a stream at a time.
#include "VarnelSpeech/Asr/AsrManager.h"

#include "VarnelSpeech/Asr/ScriptedRecognizer.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Ints = std::vector<int>;

std::vector<float> audio(std::size_t samples) {
    return ScriptedRecognizer::numberedAudio(samples);
}

class AsrManagerStreaming : public ::testing::Test {
protected:
    AsrManagerStreaming() { manager.initialize(recognizer.models()); }

    // The token that the prediction network was asked for in the n-th call.
    int target(std::size_t call) {
        return recognizer.decoder().recordedCalls().at(call).inputs.at("targets")->data<std::int32_t>()[0];
    }

    ScriptedRecognizer recognizer{{{2, 11}, {5, 22}, {7, 33}}};
    AsrManager manager;
};

TEST_F(AsrManagerStreaming, ReturnsTheTokensOfAWindow) {
    const auto chunk = manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {});
    EXPECT_EQ(chunk.tokens, (Ints{11, 22, 33}));
    EXPECT_EQ(chunk.timestamps, (Ints{2, 5, 7}));
    EXPECT_EQ(chunk.confidences, std::vector<float>(3, 0.5F));
    EXPECT_EQ(chunk.encoderSequenceLength, 188);
}

TEST_F(AsrManagerStreaming, AlignsTheFirstWindowOnly) {
    manager.transcribeStreamingChunk(audio(20000), AudioSource::microphone, {});
    EXPECT_EQ(recognizer.windows()[0].audioLength, 20480);
    manager.transcribeStreamingChunk(audio(20000), AudioSource::microphone, {1});
    EXPECT_EQ(recognizer.windows()[1].audioLength, 20000);
    EXPECT_EQ(recognizer.windows()[1].samples, 240000U);
}

TEST_F(AsrManagerStreaming, AWindowPastTheModelsStaysAsItIs) {
    manager.transcribeStreamingChunk(audio(240500), AudioSource::microphone, {});
    EXPECT_EQ(recognizer.windows()[0].samples, 240500U);
    EXPECT_EQ(recognizer.windows()[0].audioLength, 240500);
}

TEST_F(AsrManagerStreaming, AcceptsAnyLength) {
    EXPECT_NO_THROW(manager.transcribeStreamingChunk(audio(100), AudioSource::microphone, {}));
    const std::vector<float> silence;
    EXPECT_TRUE(manager.transcribeStreamingChunk(silence, AudioSource::microphone, {}).tokens.empty());
}

TEST_F(AsrManagerStreaming, CarriesTheStateOfASourceOn) {
    recognizer.decoder().startRecording();
    manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {});
    manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {99});
    EXPECT_EQ(target(0), 8192);
    EXPECT_EQ(target(4), 33); // no new start: the last token of the window before
    manager.transcribeStreamingChunk(audio(56000), AudioSource::system, {});
    const auto calls = recognizer.decoder().recordedCalls();
    EXPECT_EQ(calls.back().inputs.at("h_in")->data<float>()[0], 3.0F); // the other source started afresh
}

TEST_F(AsrManagerStreaming, TheLastWindowLooksForPendingTokensAndLeavesNoOvershoot) {
    manager.transcribeStreamingChunk(audio(12800), AudioSource::microphone, {}, true);
    EXPECT_EQ(recognizer.joint().callCount(), 10U + 5U);
    // The next window begins at its first frame, not behind an overlap.
    EXPECT_EQ(manager.transcribeStreamingChunk(audio(12800), AudioSource::microphone, {}).timestamps, (Ints{2, 5, 7}));
}

TEST_F(AsrManagerStreaming, DropsWhatWasHeardAlready) {
    const auto chunk = manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {7, 11, 22});
    EXPECT_EQ(chunk.tokens, Ints{33});
    EXPECT_EQ(chunk.timestamps, Ints{7});
    EXPECT_EQ(chunk.confidences, std::vector<float>{0.5F});
}

TEST_F(AsrManagerStreaming, AFailureLeavesTheStateUnwritten) {
    manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {});
    recognizer.encoder().failAt(1);
    EXPECT_THROW(manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {1}), MLModelError);
    recognizer.decoder().startRecording();
    manager.transcribeStreamingChunk(audio(56000), AudioSource::microphone, {1});
    EXPECT_EQ(target(0), 33);
}

} // namespace
} // namespace VarnelSpeech::Testing
