#include "VarnelSpeech/Shared/ASRPerformanceMetrics.h"

#include "VarnelSpeech/Shared/AggregatedMetrics.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <stdexcept>

using namespace VarnelSpeech;

namespace {

const ASRPerformanceMetrics sample{0.0125, 1.2346, 0.5, 1.7499, 57.25F, 812.04F, std::nullopt};

} // namespace

TEST(ASRPerformanceMetrics, TellsItsFiguresInLines) {
    EXPECT_EQ(sample.description(), "Performance Metrics:\n- Preprocessor: 0.013s\n- Encoder: 1.235s\n"
                                    "- Decoder: 0.500s\n- Total: 1.750s\n- RTFx: 57.2x real-time\n"
                                    "- Peak Memory: 812.0 MB");
}

TEST(ASRPerformanceMetrics, TellsTheUtilisationWhenThereIsOne) {
    ASRPerformanceMetrics metrics;
    metrics.gpuUtilization = 42.46F;
    EXPECT_EQ(metrics.description(), "Performance Metrics:\n- Preprocessor: 0.000s\n- Encoder: 0.000s\n"
                                     "- Decoder: 0.000s\n- Total: 0.000s\n- RTFx: 0.0x real-time\n"
                                     "- Peak Memory: 0.0 MB\n- GPU Utilization: 42.5%");
}

TEST(ASRPerformanceMetrics, IsCodedUnderItsFieldsNames) {
    const auto json = nlohmann::json::parse(sample.toJson());
    EXPECT_EQ(json.size(), 6U);
    EXPECT_EQ(json.at("preprocessorTime"), 0.0125);
    EXPECT_EQ(json.at("encoderTime"), 1.2346);
    EXPECT_EQ(json.at("decoderTime"), 0.5);
    EXPECT_EQ(json.at("totalProcessingTime"), 1.7499);
    EXPECT_EQ(json.at("rtfx"), 57.25F);
    EXPECT_EQ(json.at("peakMemoryMB"), 812.04F);
}

TEST(ASRPerformanceMetrics, ComesBackFromItsCode) {
    EXPECT_EQ(ASRPerformanceMetrics::fromJson(sample.toJson()), sample);
    ASRPerformanceMetrics withUtilisation = sample;
    withUtilisation.gpuUtilization = 7.5F;
    EXPECT_EQ(ASRPerformanceMetrics::fromJson(withUtilisation.toJson()), withUtilisation);
}

TEST(ASRPerformanceMetrics, RefusesWhatIsNoSuchObject) {
    EXPECT_THROW(ASRPerformanceMetrics::fromJson("no json"), std::invalid_argument);
    EXPECT_THROW(ASRPerformanceMetrics::fromJson("[]"), std::invalid_argument);
    EXPECT_THROW(ASRPerformanceMetrics::fromJson("{\"rtfx\": 1}"), std::invalid_argument);
    EXPECT_THROW(ASRPerformanceMetrics::fromJson("{\"preprocessorTime\": \"soon\"}"), std::invalid_argument);
}

TEST(AggregatedMetrics, TellsItsFiguresInLines) {
    const AggregatedMetrics metrics{12.345F, 0.98765, 1024.5F, 3};
    EXPECT_EQ(metrics.description(), "Aggregated Metrics (3 samples):\n- Average RTFx: 12.3x real-time\n"
                                     "- Average Processing Time: 0.988s\n- Max Memory Usage: 1024.5 MB");
}
