#pragma once

#include <cstdint>

namespace VarnelSpeech {

// Whether a stride or a size can be handed to the linear algebra library, whose integers have 32 bits.
constexpr bool fitsInt32(std::int64_t value) {
    return value >= INT32_MIN && value <= INT32_MAX;
}

// Copies `count` floats from one row to another. Strides are in elements, fit 32 bits and may be negative; both
// pointers are those of the rows' first elements in index order. Rows without gaps are moved in one block.
void copyFloats(const float* source, std::int64_t sourceStride, float* destination, std::int64_t destinationStride,
                std::int64_t count);

} // namespace VarnelSpeech
