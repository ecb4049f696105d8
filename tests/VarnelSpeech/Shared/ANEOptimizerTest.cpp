#include "VarnelSpeech/Shared/ANEOptimizer.h"

#include <gtest/gtest.h>

#include <limits>

namespace VarnelSpeech {
namespace {

std::string refusal(const MLShape& shape) {
    try {
        ANEOptimizer::createANEAlignedArray(shape, MLMultiArrayDataType::float32);
    } catch (const ANEOptimizerError& error) {
        return error.what();
    }
    return "(no error)";
}

TEST(ANEOptimizer, MakesAlignedTensors) {
    const auto array = ANEOptimizer::createANEAlignedArray({1, 640, 1}, MLMultiArrayDataType::float32);
    EXPECT_EQ(array->strides(), (MLShape{10240, 16, 1}));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array->rawData()) % 64, 0U);
}

TEST(ANEOptimizer, SaysWhyItCouldNot) {
    EXPECT_EQ(refusal({std::numeric_limits<std::int64_t>::max()}), "Failed to allocate ANE-aligned memory");
    EXPECT_EQ(refusal({-1}), "ANE memory allocation error: invalidShape");
    EXPECT_STREQ(ANEOptimizerError::domain, "ANEOptimizer");
    EXPECT_EQ(ANEOptimizerError::code, -1);
}

} // namespace
} // namespace VarnelSpeech
