#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include "support/ScriptedTransducer.h"
#include "support/ThrownText.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace VarnelSpeech::Testing {
namespace {

using Ints = std::vector<int>;

constexpr int tokenA = 11;
constexpr int tokenB = 22;
constexpr JointDecision blankOne{blank, 0.5F, 1};

struct Window {
    int frames = 188; // of the encoder's output
    int encoderSequenceLength = 188;
    int actualAudioFrames = 188;
    int contextFrameAdjustment = 0;
    bool isLastChunk = false;
    int globalFrameOffset = 0;
    TdtConfig config = {};
};

Window windowOf(int frames) {
    Window window;
    window.frames = window.encoderSequenceLength = window.actualAudioFrames = frames;
    return window;
}

TdtHypothesis decode(ScriptedTransducer& transducer, TdtDecoderState& state, const Window& window) {
    ASRConfig config;
    config.tdtConfig = window.config;
    return TdtDecoderV3(config).decodeWithTimings(
        makeEncoderOutput(window.frames), window.encoderSequenceLength, window.actualAudioFrames, transducer.decoder(),
        transducer.joint(), state, window.contextFrameAdjustment, window.isLastChunk, window.globalFrameOffset);
}

// The first frame that a call looks at, for a state with this overshoot.
int firstFrame(std::optional<int> timeJump, int contextFrameAdjustment) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    state.timeJump = timeJump;
    Window window;
    window.contextFrameAdjustment = contextFrameAdjustment;
    decode(transducer, state, window);
    return transducer.frames().front();
}

TEST(TdtDecoderV3, ASequenceOfLessThanTwoFramesYieldsAnEmptyHypothesisAndLeavesTheState) {
    for (const int length : {0, 1, -7}) {
        ScriptedTransducer transducer(std::vector<JointDecision>{});
        TdtDecoderState state;
        state.lastToken = 5;
        state.timeJump = 3;
        state.hiddenState->data<float>()[0] = 4.0F;
        Window window;
        window.encoderSequenceLength = length;
        const TdtHypothesis hypothesis = decode(transducer, state, window);
        EXPECT_TRUE(hypothesis.tokenIds.empty());
        EXPECT_EQ(hypothesis.lastToken, std::nullopt);
        ASSERT_TRUE(hypothesis.decoderState);
        EXPECT_EQ(hypothesis.decoderState->hiddenState, state.hiddenState);
        EXPECT_EQ(hypothesis.decoderState->lastToken, 5);
        EXPECT_EQ(state.lastToken, 5);
        EXPECT_EQ(state.timeJump, 3);
        EXPECT_EQ(state.hiddenState->data<float>()[0], 4.0F);
        EXPECT_EQ(transducer.joint().callCount() + transducer.decoder().callCount(), 0U);
    }
}

TEST(TdtDecoderV3, AShortSequenceIsEmptyEvenWithATensorThatDoesNotFit) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    EXPECT_NO_THROW(TdtDecoderV3({}).decodeWithTimings(MLMultiArray::make({3}, MLMultiArrayDataType::int32), 1, 9,
                                                       transducer.decoder(), transducer.joint(), state));
}

TEST(TdtDecoderV3, StartsWhereTheLastWindowsOvershootSays) {
    EXPECT_EQ(firstFrame(std::nullopt, 0), 0);
    EXPECT_EQ(firstFrame(std::nullopt, 4), 4);
    EXPECT_EQ(firstFrame(0, 0), 25); // an exact finish: the overlap of 2 s is skipped
    EXPECT_EQ(firstFrame(-3, 0), 0);
    EXPECT_EQ(firstFrame(2, 3), 5);
    EXPECT_EQ(firstFrame(2, -9), 0);
    EXPECT_EQ(firstFrame(0, 1), 1);
}

TEST(TdtDecoderV3, AStartPastTheWindowYieldsAnEmptyHypothesisAndKeepsTheOvershoot) {
    for (const int timeJump : {188, 189, std::numeric_limits<int>::max()}) {
        ScriptedTransducer transducer(std::vector<JointDecision>{});
        TdtDecoderState state;
        state.lastToken = 5;
        state.timeJump = timeJump;
        Window window;
        window.contextFrameAdjustment = timeJump > 1000 ? timeJump : 0;
        const TdtHypothesis hypothesis = decode(transducer, state, window);
        EXPECT_TRUE(hypothesis.tokenIds.empty());
        EXPECT_EQ(hypothesis.lastToken, std::nullopt);
        EXPECT_EQ(state.timeJump, timeJump);
        EXPECT_EQ(state.lastToken, 5);
        EXPECT_EQ(transducer.decoder().callCount(), 0U);
    }
}

TEST(TdtDecoderV3, AWindowWithoutAudioFramesYieldsAnEmptyHypothesis) {
    for (const int frames : {0, -1}) {
        ScriptedTransducer transducer(std::vector<JointDecision>{});
        TdtDecoderState state;
        Window window;
        window.actualAudioFrames = frames;
        EXPECT_TRUE(decode(transducer, state, window).tokenIds.empty());
        EXPECT_EQ(state.timeJump, std::nullopt);
    }
}

TEST(TdtDecoderV3, ANegativeStartIsAFrameOutOfRange) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    Window window;
    window.contextFrameAdjustment = -2;
    EXPECT_EQ(thrownText([&] { decode(transducer, state, window); }),
              processingFailed("Encoder frame index out of range: -2"));
}

TEST(TdtDecoderV3, AFreshUtteranceStartsFromZeroWithTheBlank) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    transducer.decoder().startRecording();
    TdtDecoderState state;
    state.hiddenState->data<float>()[7] = 1.0F;
    state.cellState->data<float>()[7] = 1.0F;
    decode(transducer, state, windowOf(3));
    EXPECT_EQ(transducer.targets(), Ints{blank});
    const auto inputs = transducer.decoder().recordedCalls().front().inputs;
    EXPECT_EQ(inputs.at("h_in")->data<float>()[7], 0.0F);
    EXPECT_EQ(inputs.at("c_in")->data<float>()[7], 0.0F);
    EXPECT_EQ(inputs.at("target_length")->data<std::int32_t>()[0], 1);
}

TEST(TdtDecoderV3, TheNetworksWriteIntoTheCallersTensors) {
    ScriptedTransducer transducer({{tokenA, 0.9F, 1}});
    transducer.decoder().startRecording();
    transducer.joint().startRecording();
    TdtDecoderState state;
    const auto hidden = state.hiddenState;
    decode(transducer, state, windowOf(3));
    EXPECT_EQ(state.hiddenState, hidden);
    EXPECT_EQ(hidden->data<float>()[0], 2.0F); // primed, then one token
    for (const auto& call : transducer.decoder().recordedCalls()) {
        EXPECT_EQ(call.backedOutputs, (std::set<std::string>{"c_out", "h_out"}));
    }
    for (const auto& call : transducer.joint().recordedCalls()) {
        EXPECT_EQ(call.backedOutputs, (std::set<std::string>{"duration", "token_id", "token_prob"}));
    }
}

TEST(TdtDecoderV3, EmitsTokensWithTheFrameOfTheirDecision) {
    ScriptedTransducer transducer({blankOne, {tokenA, 0.75F, 2}, {blank, 0.5F, 3}, {tokenB, 0.5F, 1}});
    TdtDecoderState state;
    Window window = windowOf(20);
    window.globalFrameOffset = 162;
    const TdtHypothesis hypothesis = decode(transducer, state, window);
    EXPECT_EQ(hypothesis.tokenIds, (Ints{tokenA, tokenB}));
    EXPECT_EQ(hypothesis.timestamps, (Ints{163, 168}));
    EXPECT_EQ(hypothesis.tokenConfidences, (std::vector<float>{0.75F, 0.5F}));
    EXPECT_EQ(hypothesis.score, 1.25F);
    EXPECT_TRUE(hypothesis.tokenDurations.empty());
    EXPECT_EQ(hypothesis.lastToken, tokenB);
    EXPECT_EQ(state.lastToken, tokenB);
}

TEST(TdtDecoderV3, RunsThePredictionNetworkOnlyForTokens) {
    ScriptedTransducer transducer({blankOne, blankOne, {tokenA, 0.9F, 1}, blankOne, blankOne, {tokenB, 0.9F, 1}});
    TdtDecoderState state;
    decode(transducer, state, windowOf(20));
    EXPECT_EQ(transducer.targets(), (Ints{blank, tokenA, tokenB}));
    Ints labels;
    for (const auto& question : transducer.questions()) {
        labels.push_back(question.label);
    }
    EXPECT_EQ((Ints(labels.begin(), labels.begin() + 7)), (Ints{blank, blank, blank, tokenA, tokenA, tokenA, tokenB}));
}

TEST(TdtDecoderV3, ABlankOfNoDurationAdvancesOneFrame) {
    ScriptedTransducer transducer({{blank, 0.5F, 0}, {blank, 0.5F, 0}, {blank, 0.5F, 2}});
    TdtDecoderState state;
    decode(transducer, state, windowOf(5));
    EXPECT_EQ(transducer.frames(), (Ints{0, 1, 2, 4}));
}

TEST(TdtDecoderV3, DropsATokenWhoseDurationLeavesTheWindow) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, {tokenA, 0.9F, 1}});
    TdtDecoderState state;
    const TdtHypothesis hypothesis = decode(transducer, state, windowOf(5));
    EXPECT_TRUE(hypothesis.tokenIds.empty());
    EXPECT_EQ(transducer.frames(), (Ints{0, 4}));
    EXPECT_EQ(state.timeJump, 0);
    EXPECT_EQ(state.lastToken, std::nullopt);
}

TEST(TdtDecoderV3, ATokenOfNoDurationAtTheLastFrameStaysAndTheNextOnesAreForcedOn) {
    // At the last frame there is no frame to be forced on to, so that tokens come until the limit of a call.
    ScriptedTransducer transducer([](const ScriptedTransducer::Question& question) {
        return question.frame < 4 ? JointDecision{blank, 0.5F, 4} : JointDecision{tokenA, 0.5F, 0};
    });
    TdtDecoderState state;
    Window window = windowOf(5);
    window.config.maxSymbolsPerStep = 2;
    window.config.maxTokensPerChunk = 6;
    const TdtHypothesis hypothesis = decode(transducer, state, window);
    EXPECT_EQ(hypothesis.timestamps, (Ints{4, 4, 4, 4, 4, 4}));
    EXPECT_EQ(transducer.frames(), (Ints{0, 4, 4, 4, 4, 4, 4, 4}));
    EXPECT_EQ(state.timeJump, -1);
}

TEST(TdtDecoderV3, TenTokensAtOneFrameForceThePositionOn) {
    ScriptedTransducer transducer([](const ScriptedTransducer::Question& question) {
        return question.frame == 0 ? JointDecision{tokenA, 0.5F, 0} : blankOne;
    });
    TdtDecoderState state;
    const TdtHypothesis hypothesis = decode(transducer, state, windowOf(4));
    EXPECT_EQ(hypothesis.tokenIds, Ints(10, tokenA));
    EXPECT_EQ(hypothesis.timestamps, Ints(10, 0));
    EXPECT_EQ(transducer.frames(), (Ints{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}));
}

TEST(TdtDecoderV3, NineTokensAtOneFrameForceNothing) {
    ScriptedTransducer transducer([](const ScriptedTransducer::Question& question) {
        return question.index < 9 ? JointDecision{tokenA, 0.5F, 0} : blankOne;
    });
    TdtDecoderState state;
    EXPECT_EQ(decode(transducer, state, windowOf(4)).tokenIds.size(), 9U);
    EXPECT_EQ(transducer.frames(), (Ints{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}));
}

TEST(TdtDecoderV3, WithOneSymbolAStepEveryTokenForcesThePositionOn) {
    ScriptedTransducer transducer({{tokenA, 0.5F, 0}, {tokenB, 0.5F, 1}});
    TdtDecoderState state;
    Window window = windowOf(6);
    window.config.maxSymbolsPerStep = 1;
    EXPECT_EQ(decode(transducer, state, window).timestamps, (Ints{0, 1}));
    EXPECT_EQ(transducer.frames(), (Ints{0, 1, 3, 4, 5}));
}

TEST(TdtDecoderV3, The151stTokenIsDroppedAndEndsTheCall) {
    ScriptedTransducer transducer([](const ScriptedTransducer::Question&) { return JointDecision{tokenA, 0.5F, 1}; });
    TdtDecoderState state;
    const TdtHypothesis hypothesis = decode(transducer, state, windowOf(188));
    EXPECT_EQ(hypothesis.tokenIds.size(), 150U);
    EXPECT_EQ(hypothesis.timestamps.back(), 149);
    EXPECT_EQ(transducer.questions().size(), 151U);
    EXPECT_EQ(state.timeJump, 151 - 188); // behind the dropped token's duration
}

TEST(TdtDecoderV3, ProbabilitiesThatAreNoneAreClamped) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    ScriptedTransducer transducer(
        {{tokenA, nan, 1}, {tokenA, 1.2F, 1}, {tokenA, -0.5F, 1}, {tokenA, infinity, 1}, {tokenA, -infinity, 1}});
    TdtDecoderState state;
    const TdtHypothesis hypothesis = decode(transducer, state, windowOf(20));
    EXPECT_EQ(hypothesis.tokenConfidences, (std::vector<float>{0.0F, 1.0F, 0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(hypothesis.score, 1.0F);
}

TEST(TdtDecoderV3, ADurationBinOutOfRangeFails) {
    for (const int bin : {5, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        ScriptedTransducer transducer({{tokenA, 0.5F, bin}});
        TdtDecoderState state;
        EXPECT_EQ(thrownText([&] { decode(transducer, state, windowOf(5)); }),
                  processingFailed("Duration bin index out of range: " + std::to_string(bin)));
    }
}

TEST(TdtDecoderV3, AnyTokenIdPasses) {
    const Ints ids{-1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
    ScriptedTransducer transducer({{ids[0], 0.5F, 1}, {ids[1], 0.5F, 1}, {ids[2], 0.5F, 1}});
    TdtDecoderState state;
    EXPECT_EQ(decode(transducer, state, windowOf(9)).tokenIds, ids);
}

TEST(TdtDecoderV3, AnEncoderLengthBeyondItsFramesIsAFrameOutOfRange) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    Window window;
    window.frames = 10;
    EXPECT_EQ(thrownText([&] { decode(transducer, state, window); }),
              processingFailed("Encoder frame index out of range: 10"));
}

TEST(TdtDecoderV3, DecodesOnlyTheFramesWithAudio) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    Window window;
    window.actualAudioFrames = 3;
    decode(transducer, state, window);
    EXPECT_EQ(transducer.frames(), (Ints{0, 1, 2}));
}

TEST(TdtDecoderV3, TheOvershootGoesToTheNextWindow) {
    ScriptedTransducer transducer({{blank, 0.5F, 4}, {blank, 0.5F, 4}});
    TdtDecoderState state;
    decode(transducer, state, windowOf(5));
    EXPECT_EQ(state.timeJump, 3);
    decode(transducer, state, windowOf(5));
    EXPECT_EQ(transducer.frames(), (Ints{0, 4, 3, 4}));
}

TEST(TdtDecoderV3, ALaterWindowRunsThePredictionNetworkOnceOnItsLastToken) {
    ScriptedTransducer transducer({{blank, 0.5F, 1}, {tokenA, 0.9F, 1}});
    TdtDecoderState state;
    decode(transducer, state, windowOf(5));
    EXPECT_EQ(state.predictorOutput, nullptr);
    EXPECT_EQ(state.timeJump, 0);
    decode(transducer, state, windowOf(40));
    EXPECT_EQ(transducer.targets(), (Ints{blank, tokenA, tokenA}));
    EXPECT_EQ(transducer.questions().back().label, tokenA);
    EXPECT_EQ(transducer.frames()[5], 25);
}

TEST(TdtDecoderV3, ACachedProjectionOfTheCallersIsUsedAndStays) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    TdtDecoderState state;
    const auto cached = MLMultiArray::make({1, 640, 1}, MLMultiArrayDataType::float32);
    cached->data<float>()[0] = 77.0F;
    state.predictorOutput = cached;
    state.hiddenState->data<float>()[0] = 9.0F;
    decode(transducer, state, windowOf(3));
    EXPECT_TRUE(transducer.targets().empty());
    EXPECT_EQ(transducer.questions().front().label, 77);
    EXPECT_EQ(state.predictorOutput, cached);
    EXPECT_EQ(state.hiddenState->data<float>()[0], 9.0F); // no fresh utterance
}

TEST(TdtDecoderV3, ASentenceEndLeavesNoCachedProjection) {
    for (const int punctuation : {7883, 7952, 7948}) {
        ScriptedTransducer transducer({{punctuation, 0.9F, 1}});
        TdtDecoderState state;
        state.predictorOutput = MLMultiArray::make({1, 640, 1}, MLMultiArrayDataType::float32);
        decode(transducer, state, windowOf(5));
        EXPECT_EQ(state.predictorOutput, nullptr);
        EXPECT_EQ(state.lastToken, punctuation);
    }
}

TEST(TdtDecoderV3, BothLayoutsDecodeTheSame) {
    const auto decodeLayout = [](EncoderLayout layout) {
        ScriptedTransducer transducer({blankOne, {tokenA, 0.75F, 2}, {tokenB, 0.5F, 0}, {tokenA, 0.25F, 4}});
        TdtDecoderState state;
        TdtDecoderV3({}).decodeWithTimings(makeEncoderOutput(30, layout), 30, 30, transducer.decoder(),
                                           transducer.joint(), state);
        return transducer.frames();
    };
    EXPECT_EQ(decodeLayout(EncoderLayout::hiddenFirst), decodeLayout(EncoderLayout::timeFirst));
}

TEST(TdtDecoderV3, TheBlankIsTheConfigurations) {
    ScriptedTransducer transducer({{1024, 0.5F, 1}, {blank, 0.5F, 1}, {1024, 0.5F, 4}});
    TdtDecoderState state;
    Window window = windowOf(6);
    window.config.blankId = 1024;
    EXPECT_EQ(decode(transducer, state, window).tokenIds, Ints{blank});
    EXPECT_EQ(transducer.targets(), (Ints{1024, blank}));
}

TEST(TdtDecoderV3, TheRuntimesOwnErrorPasses) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    transducer.joint().failAt(2, "the device went away");
    TdtDecoderState state;
    try {
        decode(transducer, state, windowOf(9));
        FAIL() << "no error";
    } catch (const MLModelError& error) {
        EXPECT_STREQ(error.what(), "the device went away");
    }
}

} // namespace
} // namespace VarnelSpeech::Testing
