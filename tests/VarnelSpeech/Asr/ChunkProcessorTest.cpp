#include "VarnelSpeech/Asr/ChunkProcessor.h"

#include "VarnelSpeech/Asr/AsrManager.h"
#include "VarnelSpeech/Asr/ScriptedRecognizer.h"
#include "support/ThrownText.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Ints = std::vector<int>;

ASRResult process(ScriptedRecognizer& recognizer, std::size_t samples, std::vector<double>* progress = nullptr) {
    AsrManager manager;
    manager.initialize(recognizer.models());
    const std::vector<float> audio = ScriptedRecognizer::numberedAudio(samples);
    return ChunkProcessor(audio).process(manager, std::chrono::steady_clock::now(), [&](double value) {
        if (progress != nullptr) {
            progress->push_back(value);
        }
    });
}

// Frames of the tokens of a result.
Ints frames(const ASRResult& result) {
    Ints starts;
    for (const TokenTiming& timing : *result.tokenTimings) {
        starts.push_back(static_cast<int>(timing.startTime / 0.08 + 0.5));
    }
    return starts;
}

TEST(ChunkProcessor, AdvancesBy162FramesAndSharesTwoSeconds) {
    EXPECT_EQ(ChunkProcessor::overlapSamples(), 32000U);
    EXPECT_EQ(ChunkProcessor::stride(), 207360U);
}

TEST(ChunkProcessor, CutsJustMoreThanAModelWindowInTwo) {
    ScriptedRecognizer recognizer(Speech{});
    const ASRResult result = process(recognizer, 240001);
    ASSERT_EQ(recognizer.windows().size(), 2U);
    EXPECT_EQ(recognizer.windows()[0].start, 0);
    EXPECT_EQ(recognizer.windows()[0].audioLength, 239360);
    EXPECT_EQ(recognizer.windows()[1].start, 207360);
    EXPECT_EQ(recognizer.windows()[1].audioLength, 32641);
    for (const auto& window : recognizer.windows()) {
        EXPECT_EQ(window.samples, 240000U);
        EXPECT_TRUE(window.isPaddedWithZeros);
    }
    EXPECT_EQ(result.duration, 240001.0 / 16000.0);
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(result.confidence, 0.1F);
    EXPECT_TRUE(result.tokenTimings->empty());
}

TEST(ChunkProcessor, OnlyTheLastWindowLooksForPendingTokens) {
    ScriptedRecognizer recognizer(Speech{});
    process(recognizer, 240001);
    // 187 frames, then 26 (32641 samples) and five blanks at the end.
    EXPECT_EQ(recognizer.joint().callCount(), 187U + 26U + 5U);
}

TEST(ChunkProcessor, AudioThatEndsWithAWindowHasNoWindowBehindIt) {
    ScriptedRecognizer recognizer(Speech{});
    process(recognizer, 207360 + 239360);
    EXPECT_EQ(recognizer.windows().size(), 2U);
    EXPECT_EQ(recognizer.windows()[1].audioLength, 239360);
}

TEST(ChunkProcessor, EachWindowStartsAfresh) {
    ScriptedRecognizer recognizer(Speech{{100, 11}, {180, 12}, {300, 13}});
    recognizer.decoder().startRecording();
    process(recognizer, 600000);
    int starts = 0;
    for (const auto& call : recognizer.decoder().recordedCalls()) {
        if (call.inputs.at("targets")->data<std::int32_t>()[0] == ScriptedRecognizer::blank) {
            starts += 1;
            EXPECT_EQ(call.inputs.at("h_in")->data<float>()[0], 0.0F);
        }
    }
    EXPECT_EQ(starts, 3);
}

TEST(ChunkProcessor, TimesCountFromTheAudiosBeginning) {
    ScriptedRecognizer recognizer(Speech{{10, 1}, {250, 2}, {400, 3}});
    EXPECT_EQ(frames(process(recognizer, 600000)), (Ints{10, 250, 400}));
}

TEST(ChunkProcessor, WhatTwoWindowsHearStaysOnce) {
    ScriptedRecognizer recognizer(Speech{{150, 1}, {164, 2}, {170, 3}, {176, 4}, {182, 5}, {200, 6}, {210, 7}});
    const ASRResult result = process(recognizer, 300000);
    EXPECT_EQ(result.text, "w1 w2 w3 w4 w5 w6 w7");
    EXPECT_EQ(frames(result), (Ints{150, 164, 170, 176, 182, 200, 210}));
}

TEST(ChunkProcessor, WindowsWithoutTokensAreEmptyLists) {
    ScriptedRecognizer recognizer(Speech{{50, 1}, {700, 2}});
    EXPECT_EQ(process(recognizer, 1000000).text, "w1 w2");
}

TEST(ChunkProcessor, ReportsProgressAfterEachWindowButTheLast) {
    ScriptedRecognizer recognizer(Speech{});
    std::vector<double> progress;
    process(recognizer, 500000, &progress);
    EXPECT_EQ(progress, (std::vector<double>{239360.0 / 500000.0, 446720.0 / 500000.0}));
}

TEST(ChunkProcessor, NoAudioIsAnEmptyResult) {
    ScriptedRecognizer recognizer(Speech{});
    const ASRResult result = process(recognizer, 0);
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(result.duration, 0.0);
    EXPECT_TRUE(recognizer.windows().empty());
}

TEST(ChunkProcessor, AnEncoderLengthOf0YieldsNothing) {
    ScriptedRecognizer recognizer(Speech{{10, 1}});
    recognizer.setEncoderLength(0);
    EXPECT_EQ(process(recognizer, 300000).text, "");
}

TEST(ChunkProcessor, AFailureOfAWindowReturnsNothingPartial) {
    ScriptedRecognizer recognizer(Speech{{10, 1}});
    recognizer.encoder().failAt(1);
    EXPECT_THROW(process(recognizer, 300000), MLModelError);
}

TEST(ChunkProcessor, ListsOfDifferentLengthsAreMisaligned) {
    const std::string misaligned = processingFailed("Token, timestamp, and confidence arrays are misaligned");
    TdtHypothesis hypothesis;
    hypothesis.tokenIds = {1, 2};
    hypothesis.timestamps = {1, 2};
    hypothesis.tokenConfidences = {0.5F};
    EXPECT_EQ(thrownText([&] { zipTokenWindows(hypothesis); }), misaligned);
    hypothesis.tokenConfidences = {0.5F, 0.25F};
    EXPECT_EQ(zipTokenWindows(hypothesis), (std::vector<TokenWindow>{{1, 1, 0.5F}, {2, 2, 0.25F}}));
    hypothesis.timestamps = {1};
    EXPECT_EQ(thrownText([&] { zipTokenWindows(hypothesis); }), misaligned);
}

TEST(ChunkProcessor, HearsDistinctWordsOnceAndInOrderWhereverTheyFall) {
    EXPECT_TRUE(rc::check("words at least 3 frames apart, in runs that fill the overlaps", [] {
        Speech speech;
        Ints expected;
        int frame = *rc::gen::inRange(0, 10);
        for (int id = 0; frame < 500; ++id) {
            speech[frame] = id % 100;
            expected.push_back(frame);
            frame += *rc::gen::inRange(3, 8);
        }
        ScriptedRecognizer recognizer(speech);
        RC_ASSERT(frames(process(recognizer, std::size_t{510} * 1280)) == expected);
    }));
}

} // namespace
} // namespace VarnelSpeech::Testing
