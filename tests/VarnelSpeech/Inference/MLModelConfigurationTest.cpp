#include "VarnelSpeech/Inference/MLModelConfiguration.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

TEST(MLComputeUnits, AreDescribedInWords) {
    EXPECT_EQ(describe(MLComputeUnits::cpuOnly), "cpuOnly");
    EXPECT_EQ(describe(MLComputeUnits::cpuAndGPU), "cpuAndGPU");
    EXPECT_EQ(describe(MLComputeUnits::all), "all");
    EXPECT_EQ(describe(MLComputeUnits::cpuAndNeuralEngine), "cpuAndNeuralEngine");
    EXPECT_EQ(describe(static_cast<MLComputeUnits>(7)), "unknown(7)");
}

} // namespace
} // namespace VarnelSpeech
