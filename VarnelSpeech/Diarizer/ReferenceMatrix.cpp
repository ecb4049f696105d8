#include "VarnelSpeech/Diarizer/ReferenceMatrix.h"

#include <cblas.h>

#include <algorithm>

namespace VarnelSpeech {

std::size_t ReferenceMatrix::rowsIn(std::size_t block) const {
    return std::min(rowsPerBlock, size_ - block * rowsPerBlock);
}

std::span<const float, ReferenceMatrix::rowLength> ReferenceMatrix::row(std::size_t index) const {
    return std::span<const float, rowLength>(rowAddress(index), rowLength);
}

std::size_t ReferenceMatrix::append(std::span<const float> values) {
    if (size_ == blocks_.size() * rowsPerBlock) {
        blocks_.push_back(std::make_unique<Block>());
    }
    replace(size_, values);
    return size_++;
}

void ReferenceMatrix::replace(std::size_t index, std::span<const float> values) {
    std::copy_n(values.data(), rowLength, rowAddress(index));
}

void ReferenceMatrix::remove(std::size_t index) {
    --size_;
    if (index != size_) {
        std::copy_n(rowAddress(size_), rowLength, rowAddress(index));
    }
    if (size_ % rowsPerBlock == 0) {
        blocks_.pop_back();
    }
}

void ReferenceMatrix::clear() {
    blocks_.clear();
    size_ = 0;
}

void ReferenceMatrix::multiply(std::size_t block, std::span<const float> vector, Products& products) const {
    // A block's 8,192 products are few enough for OpenBLAS to stay on this thread: a reader never waits for the pool.
    cblas_sgemv(CblasRowMajor, CblasNoTrans, static_cast<blasint>(rowsIn(block)), static_cast<blasint>(rowLength), 1.0F,
                blocks_[block]->values.data(), static_cast<blasint>(rowLength), vector.data(), 1, 0.0F, products.data(),
                1);
}

float* ReferenceMatrix::rowAddress(std::size_t index) const {
    return blocks_[index / rowsPerBlock]->values.data() + index % rowsPerBlock * rowLength;
}

} // namespace VarnelSpeech
