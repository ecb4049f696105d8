#include "VarnelSpeech/Inference/TensorMemory.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <new>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace VarnelSpeech {
namespace {

using Type = MLMultiArrayDataType;

std::shared_ptr<MLMultiArray> over(float* data, MLShape shape, MLShape strides) {
    return std::make_shared<MLMultiArray>(data, std::move(shape), Type::float32, std::move(strides), nullptr);
}

// A tensor on memory of its own, with gaps and either direction on each axis; `base` is element (0, ..., 0).
struct Strided {
    std::vector<float> memory;
    std::shared_ptr<MLMultiArray> array;
};

Strided arbitraryStrided() {
    const auto rank = *rc::gen::inRange<std::size_t>(1, 5);
    MLShape shape(rank);
    MLShape strides(rank);
    std::int64_t stride = 1;
    for (std::size_t axis = rank; axis-- > 0;) {
        shape[axis] = *rc::gen::inRange<std::int64_t>(1, 5);
        stride *= *rc::gen::inRange<std::int64_t>(1, 4);
        strides[axis] = *rc::gen::arbitrary<bool>() ? stride : -stride;
        stride *= shape[axis];
    }
    const TensorExtent reach = extent(shape, strides);
    Strided result;
    result.memory.resize(static_cast<std::size_t>(reach.end - reach.lowest), -1.0F);
    result.array = over(result.memory.data() - reach.lowest, shape, strides);
    return result;
}

TEST(TensorMemory, KnowsWhatATensorSpans) {
    EXPECT_EQ(extent({2, 3}, {16, 1}).end, 19);
    EXPECT_EQ(extent({2, 3}, {16, 1}).lowest, 0);
    EXPECT_EQ(extent({4}, {-2}).lowest, -6);
    EXPECT_EQ(extent({4}, {-2}).end, 1);
    EXPECT_EQ(extent({}, {}).end, 0);
    EXPECT_EQ(extent({2, 0}, {1, 1}).end, 0);
    EXPECT_EQ(extent({5}, {0}).end, 1);
}

TEST(TensorMemory, RefusesAnExtentThatDoesNotFit) {
    constexpr std::int64_t large = std::numeric_limits<std::int64_t>::max();
    EXPECT_THROW(extent({3}, {large}), std::bad_alloc);
    EXPECT_THROW(extent({2, 2}, {large, large}), std::bad_alloc);
    EXPECT_THROW(extent({2}, {large}), std::bad_alloc);
}

TEST(TensorMemory, TellsSharedMemoryFromNeighbours) {
    std::array<float, 32> memory{};
    const auto first = over(memory.data(), {8}, {1});
    EXPECT_TRUE(overlap(*first, *first));
    EXPECT_TRUE(overlap(*first, *over(memory.data() + 7, {4}, {1})));
    EXPECT_FALSE(overlap(*first, *over(memory.data() + 8, {4}, {1})));
    EXPECT_TRUE(overlap(*first, *over(memory.data() + 15, {3}, {-4})));
    EXPECT_FALSE(overlap(*first, *over(memory.data() + 16, {3}, {-4})));
    EXPECT_FALSE(overlap(*first, *over(memory.data(), {0}, {1})));
}

TEST(TensorMemory, GathersInIndexOrder) {
    std::array<float, 12> memory{};
    std::iota(memory.begin(), memory.end(), 0.0F);
    std::array<float, 4> gathered{};
    gather(*over(memory.data() + 1, {2, 2}, {6, 2}), gathered.data());
    EXPECT_EQ(gathered, (std::array<float, 4>{1, 3, 7, 9}));
    gather(*over(memory.data() + 3, {4}, {-1}), gathered.data());
    EXPECT_EQ(gathered, (std::array<float, 4>{3, 2, 1, 0}));
}

TEST(TensorMemory, MovesEveryElementSize) {
    std::array<std::uint16_t, 6> halves{1, 2, 3, 4, 5, 6};
    const MLMultiArray half(halves.data(), {3}, Type::float16, {2}, nullptr);
    std::array<std::uint16_t, 3> gatheredHalves{};
    gather(half, gatheredHalves.data());
    EXPECT_EQ(gatheredHalves, (std::array<std::uint16_t, 3>{1, 3, 5}));

    std::array<double, 4> doubles{};
    MLMultiArray target(doubles.data() + 3, {2}, Type::float64, {-2}, nullptr);
    const std::array<double, 2> given{8, 9};
    scatter(given.data(), target);
    EXPECT_EQ(doubles, (std::array<double, 4>{0, 9, 0, 8}));
}

TEST(TensorMemory, ScatterAndGatherAreInverse) {
    EXPECT_TRUE(rc::check([] {
        Strided strided = arbitraryStrided();
        const auto count = static_cast<std::size_t>(strided.array->count());
        std::vector<float> given(count);
        std::iota(given.begin(), given.end(), 1.0F);
        scatter(given.data(), *strided.array);
        std::vector<float> taken(count);
        gather(*strided.array, taken.data());
        RC_ASSERT(taken == given);
        // As many places were written as there are elements: the gaps are untouched.
        RC_ASSERT(strided.memory.size() - count ==
                  static_cast<std::size_t>(std::count(strided.memory.begin(), strided.memory.end(), -1.0F)));
    }));
}

TEST(TensorMemory, CopiesBetweenAnyTwoLayouts) {
    EXPECT_TRUE(rc::check([] {
        Strided from = arbitraryStrided();
        const auto count = static_cast<std::size_t>(from.array->count());
        std::vector<float> given(count);
        std::iota(given.begin(), given.end(), 1.0F);
        scatter(given.data(), *from.array);
        // The same shape, every stride doubled and turned round.
        MLShape strides = from.array->strides();
        for (std::int64_t& stride : strides)
            stride *= -2;
        const TensorExtent reach = extent(from.array->shape(), strides);
        std::vector<float> memory(static_cast<std::size_t>(reach.end - reach.lowest));
        const auto to = over(memory.data() - reach.lowest, from.array->shape(), strides);
        copyElements(*from.array, *to);
        std::vector<float> taken(count);
        gather(*to, taken.data());
        RC_ASSERT(taken == given);
    }));
}

TEST(TensorMemory, CopiesOnlyBetweenTensorsOfOneKind) {
    const auto floats = MLMultiArray::make({4}, Type::float32);
    EXPECT_THROW(copyElements(*floats, *MLMultiArray::make({5}, Type::float32)), std::invalid_argument);
    EXPECT_THROW(copyElements(*floats, *MLMultiArray::make({4}, Type::int32)), std::invalid_argument);
}

} // namespace
} // namespace VarnelSpeech
