#include "VarnelSpeech/Inference/MLMultiArray.h"

#include "VarnelSpeech/Inference/TensorMemory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace VarnelSpeech {
namespace {

// Vector instructions like whole cache lines.
constexpr std::size_t alignment = 64;

std::int64_t elementCount(const MLShape& shape) {
    if (shape.empty())
        return 0;
    if (std::any_of(shape.begin(), shape.end(), [](std::int64_t size) { return size < 0; }))
        throw std::invalid_argument("A tensor's dimension is negative: " + describe(shape));
    if (std::find(shape.begin(), shape.end(), 0) != shape.end())
        return 0;
    std::int64_t count = 1;
    for (const std::int64_t size : shape)
        if (__builtin_mul_overflow(count, size, &count))
            throw std::bad_alloc();
    return count;
}

} // namespace

std::size_t elementSize(MLMultiArrayDataType type) {
    switch (type) {
    case MLMultiArrayDataType::float16:
        return 2;
    case MLMultiArrayDataType::float64:
        return 8;
    case MLMultiArrayDataType::float32:
    case MLMultiArrayDataType::int32:
        break;
    }
    return 4;
}

const char* name(MLMultiArrayDataType type) {
    switch (type) {
    case MLMultiArrayDataType::float16:
        return "Float16";
    case MLMultiArrayDataType::float32:
        return "Float32";
    case MLMultiArrayDataType::float64:
        return "Double";
    case MLMultiArrayDataType::int32:
        return "Int32";
    }
    return "unknown";
}

std::string describe(const MLShape& shape) {
    std::string text = "[";
    for (std::size_t axis = 0; axis < shape.size(); ++axis)
        text += (axis == 0 ? "" : ", ") + std::to_string(shape[axis]);
    return text + "]";
}

MLShape contiguousStrides(const MLShape& shape) {
    MLShape strides(shape.size());
    std::int64_t stride = 1;
    for (std::size_t axis = shape.size(); axis-- > 0;) {
        strides[axis] = stride;
        if (__builtin_mul_overflow(stride, shape[axis], &stride))
            throw std::bad_alloc();
    }
    return strides;
}

std::shared_ptr<MLMultiArray> MLMultiArray::make(MLShape shape, MLMultiArrayDataType type) {
    const auto count = static_cast<std::size_t>(elementCount(shape));
    constexpr auto largest = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) - alignment;
    if (count > largest / elementSize(type))
        throw std::bad_alloc();
    MLShape strides = contiguousStrides(shape);
    // A whole number of alignments, as aligned_alloc wants it, and never nothing.
    const std::size_t bytes = (count * elementSize(type) / alignment + 1) * alignment;
    std::unique_ptr<void, decltype(&std::free)> memory(std::aligned_alloc(alignment, bytes), &std::free);
    if (!memory)
        throw std::bad_alloc();
    std::memset(memory.get(), 0, bytes);
    auto array = std::make_shared<MLMultiArray>(memory.get(), std::move(shape), type, std::move(strides), nullptr);
    array->deallocator_ = [](void* data) { std::free(data); };
    static_cast<void>(memory.release());
    return array;
}

MLMultiArray::MLMultiArray(void* data, MLShape shape, MLMultiArrayDataType type, MLShape strides,
                           Deallocator deallocator)
    : data_(data),
      shape_(std::move(shape)),
      strides_(std::move(strides)),
      dataType_(type),
      count_(elementCount(shape_)),
      deallocator_(std::move(deallocator)) {
    if (shape_.size() != strides_.size())
        throw std::invalid_argument("A tensor of shape " + describe(shape_) + " has strides " + describe(strides_));
}

MLMultiArray::~MLMultiArray() {
    if (deallocator_)
        deallocator_(data_);
}

bool MLMultiArray::isContiguous() const {
    if (count_ == 0)
        return true;
    std::int64_t expected = 1;
    for (std::size_t axis = shape_.size(); axis-- > 0;) {
        if (shape_[axis] != 1 && strides_[axis] != expected)
            return false;
        expected *= shape_[axis];
    }
    return true;
}

void MLMultiArray::zero() {
    // All bits zero is 0 in each of the types.
    forEachRow(*this, [this](std::int64_t offset, std::int64_t count, std::int64_t stride) {
        const std::size_t size = elementSize(dataType_);
        auto* row = static_cast<std::byte*>(data_) + offset * static_cast<std::int64_t>(size);
        if (stride == 1) {
            std::memset(row, 0, static_cast<std::size_t>(count) * size);
            return;
        }
        for (std::int64_t index = 0; index < count; ++index)
            std::memset(row + index * stride * static_cast<std::int64_t>(size), 0, size);
    });
}

} // namespace VarnelSpeech
