#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <cstddef>
#include <cstdint>

namespace VarnelSpeech {

// Where a tensor's elements lie, and moves between strided and gap-free memory. Nothing here allocates.

// Element offsets from rawData(): of the lowest element, and one past the highest. {0, 0} for a tensor without
// elements. Throws std::bad_alloc when an offset does not fit 64 bits.
struct TensorExtent {
    std::int64_t lowest = 0;
    std::int64_t end = 0;
};

TensorExtent extent(const MLShape& shape, const MLShape& strides);

// Whether the two tensors' memory has a byte in common (gaps between strided elements count as memory).
bool overlap(const MLMultiArray& first, const MLMultiArray& second);

// Copies the elements in index order to gap-free memory of count() elements.
void gather(const MLMultiArray& source, void* destination);

// Copies count() elements of gap-free memory to the tensor in index order.
void scatter(const void* source, MLMultiArray& destination);

// Copies element by element in index order. Both have the same count and type; throws std::invalid_argument if not.
// They must not overlap.
void copyElements(const MLMultiArray& source, MLMultiArray& destination);

namespace Detail {

template <typename Visit>
void visitRows(const MLShape& shape, const MLShape& strides, std::size_t axis, std::size_t rowAxis, std::int64_t offset,
               Visit& visit) {
    if (axis == rowAxis) {
        visit(offset, shape[rowAxis], strides[rowAxis]);
        return;
    }
    for (std::int64_t index = 0; index < shape[axis]; ++index)
        visitRows(shape, strides, axis + 1, rowAxis, offset + index * strides[axis], visit);
}

} // namespace Detail

// Calls visit(offset, count, stride) for each innermost row, in index order, all in elements. Trailing axes of size 1
// are no rows of their own: [1, 640, 1] is one row.
template <typename Visit>
void forEachRow(const MLMultiArray& array, Visit visit) {
    if (array.count() == 0)
        return;
    std::size_t rowAxis = array.shape().size() - 1;
    while (rowAxis > 0 && array.shape()[rowAxis] == 1)
        --rowAxis;
    Detail::visitRows(array.shape(), array.strides(), 0, rowAxis, 0, visit);
}

} // namespace VarnelSpeech
