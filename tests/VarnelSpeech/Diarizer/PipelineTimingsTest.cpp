#include "VarnelSpeech/Diarizer/PipelineTimings.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace VarnelSpeech {
namespace {

TEST(PipelineTimings, DeriveTheirTotals) {
    const PipelineTimings timings(1, 2, 4, 8, 16, 32);
    EXPECT_EQ(timings.totalInferenceSeconds, 28);
    EXPECT_EQ(timings.totalProcessingSeconds, 63);
}

TEST(PipelineTimings, TellEachStagesShare) {
    const auto percentages = PipelineTimings(1, 2, 3, 4, 6, 4).stagePercentages();
    EXPECT_EQ(percentages, (std::map<std::string, double>{{"Model Compilation", 5},
                                                          {"Audio Loading", 10},
                                                          {"Segmentation", 15},
                                                          {"Embedding Extraction", 20},
                                                          {"Speaker Clustering", 30},
                                                          {"Post Processing", 20}}));
}

TEST(PipelineTimings, OfNothingHaveNoShares) {
    EXPECT_TRUE(PipelineTimings().stagePercentages().empty());
    EXPECT_TRUE(PipelineTimings(-1, 0, 0, 0, 0, 0).stagePercentages().empty());
}

TEST(PipelineTimings, NameTheStageThatTookLongestAndTheEarlierOfTwo) {
    EXPECT_EQ(PipelineTimings(1, 2, 3, 9, 6, 4).bottleneckStage(), "Embedding Extraction");
    EXPECT_EQ(PipelineTimings(1, 7, 3, 4, 7, 7).bottleneckStage(), "Audio Loading");
    EXPECT_EQ(PipelineTimings().bottleneckStage(), "Model Compilation");
    EXPECT_EQ(PipelineTimings(0, 0, 0, 0, 0, 1).bottleneckStage(), "Post Processing");
}

TEST(PipelineTimings, GoThroughJsonUnderTheirFieldNames) {
    const PipelineTimings timings(0.5, 0, 0.1, 0.25, 0.125, 1e-9);
    EXPECT_EQ(PipelineTimings::fromJson(timings.toJson()), timings);
    EXPECT_EQ(PipelineTimings(1, 2, 3, 4, 5, 6).toJson(),
              R"({"modelCompilationSeconds":1.0,"audioLoadingSeconds":2.0,"segmentationSeconds":3.0,)"
              R"("embeddingExtractionSeconds":4.0,"speakerClusteringSeconds":5.0,"postProcessingSeconds":6.0,)"
              R"("totalInferenceSeconds":12.0,"totalProcessingSeconds":21.0})");
}

TEST(PipelineTimings, RefuseOtherJson) {
    EXPECT_THROW(PipelineTimings::fromJson("{"), std::invalid_argument);
    EXPECT_THROW(PipelineTimings::fromJson("[]"), std::invalid_argument);
    EXPECT_THROW(PipelineTimings::fromJson(R"({"audioLoadingSeconds":1})"), std::invalid_argument);
    std::string text = PipelineTimings(1, 2, 3, 4, 5, 6).toJson();
    text.replace(text.find("3.0"), 3, R"("3")");
    EXPECT_THROW(PipelineTimings::fromJson(text), std::invalid_argument);
}

} // namespace
} // namespace VarnelSpeech
