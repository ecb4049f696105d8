#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// The recognisers' failure to get a tensor: domain "ANEOptimizer", code -1, and a description.
class ANEOptimizerError : public std::runtime_error {
public:
    static constexpr const char* domain = "ANEOptimizer";
    static constexpr int code = -1;

    using std::runtime_error::runtime_error;
};

namespace ANEOptimizer {

enum class ModelType { encoder, decoder, joint };

// ANEMemoryUtils::createAlignedArray without clearing. Throws ANEOptimizerError: "Failed to allocate ANE-aligned
// memory" when there is no memory, else "ANE memory allocation error: " and the reason.
std::shared_ptr<MLMultiArray> createANEAlignedArray(const MLShape& shape, MLMultiArrayDataType type);

} // namespace ANEOptimizer
} // namespace VarnelSpeech
