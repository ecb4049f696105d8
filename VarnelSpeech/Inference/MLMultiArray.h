#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace VarnelSpeech {

enum class MLMultiArrayDataType {
    float16,
    float32,
    float64,
    int32,
};

// Bytes of one element.
std::size_t elementSize(MLMultiArrayDataType type);

// "Float16", "Float32", "Double", "Int32".
const char* name(MLMultiArrayDataType type);

using MLShape = std::vector<std::int64_t>;

// What data() is the address of in a tensor with negative strides.
enum class MLDataOrigin {
    firstElement,  // element (0, ..., 0) in index order
    lowestAddress, // the element at the lowest address
};

// "[1, 640, 1]"
std::string describe(const MLShape& shape);

// An n-dimensional tensor: a shape, strides in elements, and raw memory that it owns or shares.
//
// A tensor is a reference type: whoever holds the std::shared_ptr shares the memory. It does no locking; a tensor
// that a running prediction reads or writes must not be touched elsewhere.
class MLMultiArray {
public:
    using Deallocator = std::function<void(void*)>;

    // Contiguous (row-major), zero-filled. Throws std::invalid_argument for a negative dimension and
    // std::bad_alloc when the memory cannot be had or the size overflows.
    static std::shared_ptr<MLMultiArray> make(MLShape shape, MLMultiArrayDataType type);

    // Memory given by the caller, freed by `deallocator` (none: not freed). Strides are in elements and may be
    // negative; `data` is then the address of element (0, ..., 0) in index order unless setOrigin says otherwise.
    MLMultiArray(void* data, MLShape shape, MLMultiArrayDataType type, MLShape strides, Deallocator deallocator);
    ~MLMultiArray();

    MLMultiArray(const MLMultiArray&) = delete;
    MLMultiArray& operator=(const MLMultiArray&) = delete;

    const MLShape& shape() const { return shape_; }

    const MLShape& strides() const { return strides_; }

    MLMultiArrayDataType dataType() const { return dataType_; }

    // Number of elements: the product of the shape; 0 for an empty shape.
    std::int64_t count() const { return count_; }

    void* rawData() { return data_; }

    const void* rawData() const { return data_; }

    template <typename T>
    T* data() {
        return static_cast<T*>(data_);
    }

    template <typename T>
    const T* data() const {
        return static_cast<const T*>(data_);
    }

    // Whether the elements lie in row-major order without gaps (dimensions of size 1 may have any stride).
    bool isContiguous() const;

    MLDataOrigin origin() const { return origin_; }

    void setOrigin(MLDataOrigin origin) { origin_ = origin; }

    // Elements of memory from the tensor's lowest address on. Whoever makes a tensor with padded or wide strides
    // states it, so that a reader can prove that it stays inside; unstated, it is count().
    std::int64_t capacity() const { return capacity_ >= 0 ? capacity_ : count_; }

    void setCapacity(std::int64_t elements) { capacity_ = elements; }

    // Sets every element to 0, element by element through the strides.
    void zero();

private:
    void* data_;
    MLShape shape_;
    MLShape strides_;
    MLMultiArrayDataType dataType_;
    std::int64_t count_;
    Deallocator deallocator_;
    MLDataOrigin origin_ = MLDataOrigin::firstElement;
    std::int64_t capacity_ = -1;
};

// Row-major strides of a shape without gaps.
MLShape contiguousStrides(const MLShape& shape);

} // namespace VarnelSpeech
