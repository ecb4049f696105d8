#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Rows of 256 values in blocks of 32 rows, so that growing moves no row and the products of a block fit on the stack.
// Threading: none of its own; const operations may run together.
class ReferenceMatrix {
public:
    static constexpr std::size_t rowLength = 256;
    static constexpr std::size_t rowsPerBlock = 32;
    static constexpr std::size_t noRow = std::numeric_limits<std::size_t>::max();

    using Products = std::array<float, rowsPerBlock>;

    std::size_t size() const { return size_; }

    std::size_t blockCount() const { return blocks_.size(); }

    std::size_t rowsIn(std::size_t block) const;

    std::span<const float, rowLength> row(std::size_t index) const;

    // Returns the new row's index. `values`: 256.
    std::size_t append(std::span<const float> values);
    void replace(std::size_t index, std::span<const float> values);

    // The last row takes the place of the removed one.
    void remove(std::size_t index);
    void clear();

    // The dot products of a block's rows with `vector` (256 values), in the first rowsIn(block) places.
    void multiply(std::size_t block, std::span<const float> vector, Products& products) const;

private:
    struct alignas(64) Block {
        std::array<float, rowLength * rowsPerBlock> values;
    };

    float* rowAddress(std::size_t index) const;

    std::vector<std::unique_ptr<Block>> blocks_;
    std::size_t size_ = 0;
};

} // namespace VarnelSpeech
