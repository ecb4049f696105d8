#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>

// Tensors as a neural engine likes them: 64-byte aligned, with the innermost dimension padded.
namespace VarnelSpeech::ANEMemoryUtils {

inline constexpr std::size_t alignment = 64;          // bytes
inline constexpr std::int64_t innermostMultiple = 16; // elements

class ANEMemoryError : public std::runtime_error {
public:
    enum class Case {
        allocationFailed,    // no memory, or a size past what can be addressed
        invalidShape,        // a negative dimension, or a view that leaves its source
        unsupportedDataType, // a type that is not this operation's
    };

    // The text is the case's name.
    explicit ANEMemoryError(Case error);

    Case error() const { return error_; }

private:
    Case error_;
};

enum class ZeroClear { no, yes };

// Strides in elements, row-major, with the last dimension counted as a multiple of 16: [1, 640, 1] gives
// [10240, 16, 1], [1, 240000] gives [240000, 1]. Throws ANEMemoryError.
MLShape calculateOptimalStrides(const MLShape& shape);

// A tensor with those strides on 64-byte aligned memory of a multiple of 64 bytes, at least 64. Without zeroClear
// its contents are undefined. Throws ANEMemoryError.
std::shared_ptr<MLMultiArray> createAlignedArray(const MLShape& shape, MLMultiArrayDataType type,
                                                 ZeroClear zeroClear = ZeroClear::yes);

// A tensor of the source's type over the source's memory, `offset` elements in; without `strides` those of
// calculateOptimalStrides. Throws ANEMemoryError::invalidShape when the view has more elements than the source has
// from there, or reaches memory that the source's elements do not span. The view keeps the source alive.
std::shared_ptr<MLMultiArray> createZeroCopyView(const std::shared_ptr<MLMultiArray>& source, std::int64_t offset,
                                                 const MLShape& shape, const std::optional<MLShape>& strides = {});

} // namespace VarnelSpeech::ANEMemoryUtils
