#include "VarnelSpeech/Inference/TensorMemory.h"

#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>

namespace VarnelSpeech {
namespace {

template <std::size_t Size>
void gatherRow(const std::byte* row, std::int64_t count, std::int64_t stride, std::byte* destination) {
    for (std::int64_t index = 0; index < count; ++index)
        std::memcpy(destination + index * static_cast<std::int64_t>(Size),
                    row + index * stride * static_cast<std::int64_t>(Size), Size);
}

template <std::size_t Size>
void scatterRow(const std::byte* source, std::byte* row, std::int64_t count, std::int64_t stride) {
    for (std::int64_t index = 0; index < count; ++index)
        std::memcpy(row + index * stride * static_cast<std::int64_t>(Size),
                    source + index * static_cast<std::int64_t>(Size), Size);
}

template <std::size_t Size>
void gatherElements(const MLMultiArray& source, std::byte* destination) {
    const auto* base = static_cast<const std::byte*>(source.rawData());
    forEachRow(source, [&](std::int64_t offset, std::int64_t count, std::int64_t stride) {
        gatherRow<Size>(base + offset * static_cast<std::int64_t>(Size), count, stride, destination);
        destination += count * static_cast<std::int64_t>(Size);
    });
}

template <std::size_t Size>
void scatterElements(const std::byte* source, MLMultiArray& destination) {
    auto* base = static_cast<std::byte*>(destination.rawData());
    forEachRow(destination, [&](std::int64_t offset, std::int64_t count, std::int64_t stride) {
        scatterRow<Size>(source, base + offset * static_cast<std::int64_t>(Size), count, stride);
        source += count * static_cast<std::int64_t>(Size);
    });
}

std::size_t byteCount(const MLMultiArray& array) {
    return static_cast<std::size_t>(array.count()) * elementSize(array.dataType());
}

} // namespace

TensorExtent extent(const MLShape& shape, const MLShape& strides) {
    TensorExtent result;
    if (shape.empty())
        return result;
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        if (shape[axis] == 0)
            return {};
        std::int64_t reach = 0;
        std::int64_t& end = strides[axis] < 0 ? result.lowest : result.end;
        if (__builtin_mul_overflow(shape[axis] - 1, strides[axis], &reach) || __builtin_add_overflow(end, reach, &end))
            throw std::bad_alloc();
    }
    if (__builtin_add_overflow(result.end, std::int64_t{1}, &result.end))
        throw std::bad_alloc();
    return result;
}

bool overlap(const MLMultiArray& first, const MLMultiArray& second) {
    if (first.count() == 0 || second.count() == 0)
        return false;

    struct Range {
        const std::byte* begin;
        const std::byte* end;
    };

    const auto range = [](const MLMultiArray& array) {
        const TensorExtent reach = extent(array.shape(), array.strides());
        const auto size = static_cast<std::int64_t>(elementSize(array.dataType()));
        const auto* base = static_cast<const std::byte*>(array.rawData());
        return Range{base + reach.lowest * size, base + reach.end * size};
    };
    const Range one = range(first);
    const Range other = range(second);
    const std::less<const std::byte*> before;
    return before(one.begin, other.end) && before(other.begin, one.end);
}

void gather(const MLMultiArray& source, void* destination) {
    auto* target = static_cast<std::byte*>(destination);
    if (source.count() == 0)
        return;
    if (source.isContiguous()) {
        std::memcpy(target, source.rawData(), byteCount(source));
        return;
    }
    switch (elementSize(source.dataType())) {
    case 2:
        return gatherElements<2>(source, target);
    case 8:
        return gatherElements<8>(source, target);
    default:
        return gatherElements<4>(source, target);
    }
}

void scatter(const void* source, MLMultiArray& destination) {
    const auto* from = static_cast<const std::byte*>(source);
    if (destination.count() == 0)
        return;
    if (destination.isContiguous()) {
        std::memcpy(destination.rawData(), from, byteCount(destination));
        return;
    }
    switch (elementSize(destination.dataType())) {
    case 2:
        return scatterElements<2>(from, destination);
    case 8:
        return scatterElements<8>(from, destination);
    default:
        return scatterElements<4>(from, destination);
    }
}

void copyElements(const MLMultiArray& source, MLMultiArray& destination) {
    if (source.count() != destination.count() || source.dataType() != destination.dataType())
        throw std::invalid_argument("Tensors differ: " + describe(source.shape()) + " and " +
                                    describe(destination.shape()));
    if (source.count() == 0)
        return;
    if (source.isContiguous())
        return scatter(source.rawData(), destination);
    if (destination.isContiguous())
        return gather(source, destination.rawData());
    // Both have gaps: through the flat index of each element.
    const std::size_t size = elementSize(source.dataType());
    const auto* from = static_cast<const std::byte*>(source.rawData());
    auto* to = static_cast<std::byte*>(destination.rawData());
    const auto offset = [](const MLMultiArray& array, std::int64_t index) {
        std::int64_t result = 0;
        for (std::size_t axis = array.shape().size(); axis-- > 0;) {
            result += index % array.shape()[axis] * array.strides()[axis];
            index /= array.shape()[axis];
        }
        return result;
    };
    for (std::int64_t index = 0; index < source.count(); ++index)
        std::memcpy(to + offset(destination, index) * static_cast<std::int64_t>(size),
                    from + offset(source, index) * static_cast<std::int64_t>(size), size);
}

} // namespace VarnelSpeech
