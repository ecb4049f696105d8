#include "VarnelSpeech/Shared/ANEMemoryUtils.h"

#include "VarnelSpeech/Inference/TensorMemory.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace VarnelSpeech::ANEMemoryUtils {
namespace {

using Case = ANEMemoryError::Case;

const char* text(Case error) {
    switch (error) {
    case Case::allocationFailed:
        return "allocationFailed";
    case Case::invalidShape:
        return "invalidShape";
    case Case::unsupportedDataType:
        return "unsupportedDataType";
    }
    return "unknown";
}

std::int64_t product(std::int64_t first, std::int64_t second) {
    std::int64_t result = 0;
    if (__builtin_mul_overflow(first, second, &result))
        throw ANEMemoryError(Case::allocationFailed);
    return result;
}

std::int64_t elementCount(const MLShape& shape) {
    std::int64_t count = shape.empty() ? 0 : 1;
    for (const std::int64_t size : shape) {
        if (size < 0)
            throw ANEMemoryError(Case::invalidShape);
        count = product(count, size);
    }
    return count;
}

// What an aligned allocation of so many elements takes.
std::size_t alignedBytes(std::int64_t elements, MLMultiArrayDataType type) {
    constexpr auto largest = std::numeric_limits<std::int64_t>::max() - static_cast<std::int64_t>(alignment);
    const std::int64_t bytes = product(elements, static_cast<std::int64_t>(elementSize(type)));
    if (bytes > largest)
        throw ANEMemoryError(Case::allocationFailed);
    const std::size_t rounded = (static_cast<std::size_t>(bytes) + alignment - 1) / alignment * alignment;
    return rounded == 0 ? alignment : rounded;
}

} // namespace

ANEMemoryError::ANEMemoryError(Case error) : std::runtime_error(text(error)), error_(error) {}

MLShape calculateOptimalStrides(const MLShape& shape) {
    MLShape strides(shape.size());
    std::int64_t stride = 1;
    for (std::size_t axis = shape.size(); axis-- > 0;) {
        std::int64_t size = shape[axis];
        if (size < 0)
            throw ANEMemoryError(Case::invalidShape);
        strides[axis] = stride;
        const bool isInnermost = axis + 1 == shape.size();
        if (isInnermost && size % innermostMultiple != 0)
            size = product(size / innermostMultiple + 1, innermostMultiple);
        stride = product(stride, size);
    }
    return strides;
}

std::shared_ptr<MLMultiArray> createAlignedArray(const MLShape& shape, MLMultiArrayDataType type, ZeroClear zeroClear) {
    MLShape strides = calculateOptimalStrides(shape);
    elementCount(shape);
    const std::int64_t elements = shape.empty() ? 0 : product(strides[0], shape[0]);
    const std::size_t bytes = alignedBytes(elements, type);
    std::unique_ptr<void, decltype(&std::free)> memory(std::aligned_alloc(alignment, bytes), &std::free);
    if (!memory)
        throw ANEMemoryError(Case::allocationFailed);
    if (zeroClear == ZeroClear::yes)
        std::memset(memory.get(), 0, bytes);
    // The deallocator owns the memory from here on, also when the tensor's own construction fails.
    std::shared_ptr<void> owner = std::move(memory);
    void* data = owner.get();
    auto array =
        std::make_shared<MLMultiArray>(data, shape, type, std::move(strides), [owner = std::move(owner)](void*) {});
    array->setCapacity(elements);
    return array;
}

std::shared_ptr<MLMultiArray> createZeroCopyView(const std::shared_ptr<MLMultiArray>& source, std::int64_t offset,
                                                 const MLShape& shape, const std::optional<MLShape>& strides) {
    if (!source || offset < 0 || (strides && strides->size() != shape.size()))
        throw ANEMemoryError(Case::invalidShape);
    const std::int64_t count = elementCount(shape);
    if (count > source->count() || offset > source->count() - count)
        throw ANEMemoryError(Case::invalidShape);
    MLShape viewStrides = strides ? *strides : calculateOptimalStrides(shape);
    // Padding between rows can reach past the source though the count fits; so can strides of the caller's.
    const TensorExtent whole = extent(source->shape(), source->strides());
    try {
        const TensorExtent part = extent(shape, viewStrides);
        if (count > 0 && (part.lowest < whole.lowest - offset || part.end > whole.end - offset))
            throw ANEMemoryError(Case::invalidShape);
    } catch (const std::bad_alloc&) {
        throw ANEMemoryError(Case::invalidShape);
    }
    auto* data = static_cast<std::byte*>(source->rawData()) +
                 offset * static_cast<std::int64_t>(elementSize(source->dataType()));
    return std::make_shared<MLMultiArray>(data, shape, source->dataType(), std::move(viewStrides), [source](void*) {});
}

} // namespace VarnelSpeech::ANEMemoryUtils
