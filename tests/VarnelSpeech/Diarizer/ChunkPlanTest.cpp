#include "VarnelSpeech/Diarizer/ChunkPlan.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace VarnelSpeech {
namespace {

ChunkPlan plan(float duration, float overlap, int sampleRate = 16000) {
    DiarizerConfig config;
    config.chunkDuration = duration;
    config.chunkOverlap = overlap;
    return ChunkPlan::make(config, sampleRate);
}

std::string refusal(float duration, float overlap, int sampleRate = 16000) {
    try {
        plan(duration, overlap, sampleRate);
    } catch (const DiarizerError& error) {
        EXPECT_EQ(error.error(), DiarizerError::Case::processingFailed);
        return error.what();
    }
    return "(no error)";
}

TEST(ChunkPlan, CutsWholeSeconds) {
    EXPECT_EQ(plan(10, 0).chunkSize, 160000U);
    EXPECT_EQ(plan(10, 0).step, 160000U);
    EXPECT_EQ(plan(10.4F, 0).chunkSize, 160000U);
    EXPECT_EQ(plan(10.5F, 0).chunkSize, 176000U); // halves away from zero
    EXPECT_EQ(plan(10, 2.4F).step, 128000U);
    EXPECT_EQ(plan(10, 0, 8000).chunkSize, 80000U);
    EXPECT_EQ(plan(10, -1).step, 176000U);
}

TEST(ChunkPlan, RefusesWhatDoesNotAdvance) {
    EXPECT_EQ(refusal(10, 10), "Processing failed: chunks of 10 s that overlap by 10 s do not advance");
    EXPECT_EQ(refusal(5, 7.4F), "Processing failed: chunks of 5 s that overlap by 7.4 s do not advance");
    EXPECT_EQ(refusal(0.4F, 0), "Processing failed: chunks of 0.4 s that overlap by 0 s do not advance");
    EXPECT_EQ(refusal(-3, -9), "Processing failed: chunks of -3 s that overlap by -9 s do not advance");
}

TEST(ChunkPlan, RefusesWhatIsNoLength) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(refusal(infinity, 0), "Processing failed: chunkDuration of inf seconds is not within 3600 seconds");
    EXPECT_EQ(refusal(std::nanf(""), 0), "Processing failed: chunkDuration of nan seconds is not within 3600 seconds");
    EXPECT_EQ(refusal(1e30F, 0), "Processing failed: chunkDuration of 1e+30 seconds is not within 3600 seconds");
    EXPECT_EQ(refusal(10, -infinity), "Processing failed: chunkOverlap of -inf seconds is not within 3600 seconds");
}

TEST(ChunkPlan, RefusesRatesWithoutSamples) {
    EXPECT_EQ(refusal(10, 0, 0), "Processing failed: a sample rate of 0 Hz");
    EXPECT_EQ(refusal(10, 0, -16000), "Processing failed: a sample rate of -16000 Hz");
    EXPECT_EQ(plan(3600, 0, std::numeric_limits<int>::max()).step, 3600ULL * 2147483647ULL);
}

} // namespace
} // namespace VarnelSpeech
