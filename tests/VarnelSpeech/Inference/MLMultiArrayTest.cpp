#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

namespace VarnelSpeech {
namespace {

using Type = MLMultiArrayDataType;

TEST(MLMultiArray, StartsZeroedAndRowMajor) {
    const auto array = MLMultiArray::make({2, 3, 4}, Type::int32);
    EXPECT_EQ(array->shape(), (MLShape{2, 3, 4}));
    EXPECT_EQ(array->strides(), (MLShape{12, 4, 1}));
    EXPECT_EQ(array->count(), 24);
    EXPECT_TRUE(array->isContiguous());
    EXPECT_TRUE(std::all_of(array->data<std::int32_t>(), array->data<std::int32_t>() + 24,
                            [](std::int32_t value) { return value == 0; }));
}

TEST(MLMultiArray, IsAlignedToCacheLines) {
    for (const std::int64_t size : {1, 3, 64, 1000})
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(MLMultiArray::make({size}, Type::float16)->rawData()) % 64, 0U);
}

TEST(MLMultiArray, HasNoElementsWithoutAShapeOrWithAZeroDimension) {
    EXPECT_EQ(MLMultiArray::make({}, Type::float32)->count(), 0);
    EXPECT_EQ(MLMultiArray::make({3, 0, 2}, Type::float32)->count(), 0);
    EXPECT_TRUE(MLMultiArray::make({3, 0, 2}, Type::float32)->isContiguous());
}

TEST(MLMultiArray, RefusesANegativeDimension) {
    EXPECT_THROW(MLMultiArray::make({2, -1}, Type::float32), std::invalid_argument);
    EXPECT_THROW(MLMultiArray(nullptr, {-1}, Type::float32, {1}, nullptr), std::invalid_argument);
}

TEST(MLMultiArray, RefusesASizePastWhatCanBeAddressed) {
    constexpr std::int64_t half = std::int64_t{1} << 32U;
    EXPECT_THROW(MLMultiArray::make({half, half}, Type::float32), std::bad_alloc);
    EXPECT_THROW(MLMultiArray::make({std::numeric_limits<std::int64_t>::max()}, Type::float64), std::bad_alloc);
    EXPECT_THROW(MLMultiArray::make({half, half / 4}, Type::float64), std::bad_alloc);
}

TEST(MLMultiArray, RefusesStridesOfAnotherRank) {
    float value = 0;
    EXPECT_THROW(MLMultiArray(&value, {1, 1}, Type::float32, {1}, nullptr), std::invalid_argument);
}

TEST(MLMultiArray, FreesTheCallersMemoryOnceWithItsDeallocator) {
    std::vector<void*> freed;
    float value = 0;
    {
        const MLMultiArray array(&value, {1}, Type::float32, {1}, [&](void* data) { freed.push_back(data); });
        EXPECT_TRUE(freed.empty());
    }
    EXPECT_EQ(freed, std::vector<void*>{&value});
}

TEST(MLMultiArray, KnowsGapsFromDimensionsOfOne) {
    std::array<float, 64> memory{};
    const auto isContiguous = [&](MLShape shape, MLShape strides) {
        return MLMultiArray(memory.data(), std::move(shape), Type::float32, std::move(strides), nullptr).isContiguous();
    };
    EXPECT_TRUE(isContiguous({2, 1, 3}, {3, 99, 1}));
    EXPECT_TRUE(isContiguous({1, 4}, {16, 1}));
    EXPECT_FALSE(isContiguous({2, 3}, {16, 1}));
    EXPECT_FALSE(isContiguous({1, 4, 1}, {64, 16, 1}));
    EXPECT_FALSE(isContiguous({4}, {-1}));
    EXPECT_FALSE(isContiguous({2, 2}, {1, 2}));
}

TEST(MLMultiArray, ZeroesItsElementsAndNothingBetween) {
    std::array<float, 12> memory{};
    memory.fill(7);
    MLMultiArray array(memory.data() + 1, {2, 2}, Type::float32, {6, 2}, nullptr);
    array.zero();
    EXPECT_EQ(memory, (std::array<float, 12>{7, 0, 7, 0, 7, 7, 7, 0, 7, 0, 7, 7}));
}

TEST(MLMultiArray, ZeroesThroughNegativeStrides) {
    std::array<double, 4> memory{1, 2, 3, 4};
    MLMultiArray array(memory.data() + 3, {3}, Type::float64, {-1}, nullptr);
    array.zero();
    EXPECT_EQ(memory, (std::array<double, 4>{1, 0, 0, 0}));
}

TEST(MLMultiArray, NamesTypesAndShapes) {
    EXPECT_STREQ(name(Type::float16), "Float16");
    EXPECT_STREQ(name(Type::float32), "Float32");
    EXPECT_STREQ(name(Type::float64), "Double");
    EXPECT_STREQ(name(Type::int32), "Int32");
    EXPECT_EQ(elementSize(Type::float16), 2U);
    EXPECT_EQ(elementSize(Type::float32), 4U);
    EXPECT_EQ(elementSize(Type::float64), 8U);
    EXPECT_EQ(elementSize(Type::int32), 4U);
    EXPECT_EQ(describe(MLShape{1, 640, 1}), "[1, 640, 1]");
    EXPECT_EQ(describe(MLShape{}), "[]");
}

} // namespace
} // namespace VarnelSpeech
