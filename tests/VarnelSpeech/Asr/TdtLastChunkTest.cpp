// The search for pending tokens at the end of the last window.
#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include "support/ScriptedTransducer.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Ints = std::vector<int>;
using Question = ScriptedTransducer::Question;

constexpr int frameCount = 5;
constexpr int token = 11;
constexpr JointDecision blankOne{blank, 0.5F, 1};

TdtHypothesis decodeLast(ScriptedTransducer& transducer, TdtDecoderState& state, TdtConfig config = {},
                         int actualAudioFrames = frameCount) {
    ASRConfig asrConfig;
    asrConfig.tdtConfig = std::move(config);
    return TdtDecoderV3(asrConfig).decodeWithTimings(makeEncoderOutput(frameCount), frameCount, actualAudioFrames,
                                                     transducer.decoder(), transducer.joint(), state, 0, true, 100);
}

// The frames looked at after the window's own.
Ints finalizationFrames(const ScriptedTransducer& transducer, std::size_t windowCalls) {
    const Ints frames = transducer.frames();
    return {frames.begin() + static_cast<std::ptrdiff_t>(windowCalls), frames.end()};
}

TEST(TdtLastChunk, FiveBlanksInARowEndIt) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, blankOne});
    TdtDecoderState state;
    EXPECT_TRUE(decodeLast(transducer, state).tokenIds.empty());
    EXPECT_EQ(transducer.frames().size(), 2U + 5U);
}

TEST(TdtLastChunk, LooksAtThePositionTheLastFrameAndTheOneBeforeInTurns) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, blankOne});
    TdtDecoderState state;
    decodeLast(transducer, state);
    EXPECT_EQ(finalizationFrames(transducer, 2), (Ints{4, 4, 3, 4, 4}));
}

TEST(TdtLastChunk, LooksNoFurtherThanTheAudio) {
    ScriptedTransducer transducer({{blank, 0.5F, 3}});
    TdtDecoderState state;
    decodeLast(transducer, state, {}, 3);
    // The position, 3, is a frame of the window's padding; the two others are the audio's last.
    EXPECT_EQ(finalizationFrames(transducer, 1), (Ints{3, 2, 1, 3, 2}));
}

TEST(TdtLastChunk, TenStepsEndIt) {
    ScriptedTransducer transducer([](const Question& question) {
        return question.index == 0 ? JointDecision{blank, 0.5F, 4}
                                   : JointDecision{token, 0.5F, question.index == 1 ? 1 : 0};
    });
    TdtDecoderState state;
    const TdtHypothesis hypothesis = decodeLast(transducer, state);
    EXPECT_EQ(hypothesis.tokenIds, Ints(10, token));
    EXPECT_EQ(hypothesis.timestamps, Ints(10, 104));
    EXPECT_EQ(hypothesis.tokenConfidences, std::vector<float>(10, 0.5F));
    EXPECT_EQ(hypothesis.score, 5.0F);
    EXPECT_EQ(hypothesis.lastToken, token);
}

TEST(TdtLastChunk, ATokenRestartsTheCountOfBlanks) {
    ScriptedTransducer transducer([](const Question& question) {
        return question.index == 6 ? JointDecision{token, 0.5F, 1}
                                   : JointDecision{blank, 0.5F, question.index == 0 ? 4 : 1};
    });
    TdtDecoderState state;
    EXPECT_EQ(decodeLast(transducer, state).tokenIds, Ints{token});
    // The window's two, four blanks, the token, and five blanks: just the ten steps.
    EXPECT_EQ(transducer.frames().size(), 2U + 4U + 1U + 5U);
}

TEST(TdtLastChunk, ATokenThatTheWindowDroppedComesInTheEnd) {
    // The decision at the last frame led out of the window; the network still has it for that frame.
    ScriptedTransducer transducer([](const Question& question) {
        return question.frame == 4 && question.label == blank ? JointDecision{token, 0.5F, 1} : blankOne;
    });
    TdtDecoderState state;
    const TdtHypothesis hypothesis = decodeLast(transducer, state);
    EXPECT_EQ(hypothesis.tokenIds, Ints{token});
    EXPECT_EQ(hypothesis.timestamps, Ints{104});
    EXPECT_EQ(transducer.targets(), (Ints{blank, token}));
}

TEST(TdtLastChunk, TheTokenLimitOfTheWindowDoesNotHoldForIt) {
    ScriptedTransducer transducer([](const Question&) { return JointDecision{token, 0.5F, 0}; });
    TdtDecoderState state;
    TdtConfig config;
    config.maxTokensPerChunk = 3;
    EXPECT_EQ(decodeLast(transducer, state, config).tokenIds.size(), 3U + 10U);
}

TEST(TdtLastChunk, IsSkippedWhereTheLimitsAllowNoStep) {
    TdtConfig noSymbols;
    noSymbols.maxSymbolsPerStep = 0;
    TdtConfig noBlanks;
    noBlanks.consecutiveBlankLimit = 0;
    for (const TdtConfig& config : {noSymbols, noBlanks}) {
        ScriptedTransducer transducer(std::vector<JointDecision>{});
        TdtDecoderState state;
        decodeLast(transducer, state, config);
        EXPECT_EQ(transducer.frames().size(), 5U);
    }
}

TEST(TdtLastChunk, OneBlankEndsItWhereOneIsTheLimit) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    TdtConfig config;
    config.consecutiveBlankLimit = 1;
    decodeLast(transducer, state, config);
    EXPECT_EQ(transducer.frames().size(), 5U + 1U);
}

TEST(TdtLastChunk, LeavesNoOvershoot) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, {blank, 0.5F, 4}});
    TdtDecoderState state;
    decodeLast(transducer, state);
    EXPECT_EQ(state.timeJump, std::nullopt);
    EXPECT_EQ(state.predictorOutput, nullptr);
}

TEST(TdtLastChunk, ThePredictorOutputLeavesAsItCame) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, {token, 0.5F, 1}, {token, 0.5F, 1}});
    TdtDecoderState state;
    const auto cached = MLMultiArray::make({1, 640, 1}, MLMultiArrayDataType::float32);
    state.predictorOutput = cached;
    EXPECT_FALSE(decodeLast(transducer, state).tokenIds.empty());
    EXPECT_EQ(state.predictorOutput, cached);
}

TEST(TdtLastChunk, WithoutACachedProjectionEachStepRunsThePredictionNetwork) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, blankOne});
    TdtDecoderState state;
    state.lastToken = token; // a stream's later window
    decodeLast(transducer, state);
    EXPECT_EQ(transducer.targets(), Ints(1 + 5, token));
}

} // namespace
} // namespace VarnelSpeech::Testing
