#include "VarnelSpeech/Diarizer/DiarizerConfig.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

TEST(DiarizerConfig, HasItsStandardValues) {
    const DiarizerConfig& config = DiarizerConfig::standard;
    EXPECT_EQ(config, DiarizerConfig());
    EXPECT_EQ(config.clusteringThreshold, 0.7F);
    EXPECT_EQ(config.minSpeechDuration, 1.0F);
    EXPECT_EQ(config.minEmbeddingUpdateDuration, 2.0F);
    EXPECT_EQ(config.minSilenceGap, 0.5F);
    EXPECT_EQ(config.numClusters, -1);
    EXPECT_EQ(config.minActiveFramesCount, 10.0F);
    EXPECT_FALSE(config.debugMode);
    EXPECT_EQ(config.chunkDuration, 10.0F);
    EXPECT_EQ(config.chunkOverlap, 0.0F);
}

} // namespace
} // namespace VarnelSpeech
