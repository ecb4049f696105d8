#include "VarnelSpeech/Shared/ANEMemoryUtils.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numeric>

namespace VarnelSpeech::ANEMemoryUtils {
namespace {

using Type = MLMultiArrayDataType;
using Case = ANEMemoryError::Case;

template <typename Operation>
void expectError(Case expected, Operation operation) {
    try {
        operation();
        ADD_FAILURE() << "no error";
    } catch (const ANEMemoryError& error) {
        EXPECT_EQ(error.error(), expected) << error.what();
    }
}

TEST(CalculateOptimalStrides, CountsTheLastDimensionInSixteens) {
    EXPECT_EQ(calculateOptimalStrides({1, 640, 1}), (MLShape{10240, 16, 1}));
    EXPECT_EQ(calculateOptimalStrides({1, 240000}), (MLShape{240000, 1}));
    EXPECT_EQ(calculateOptimalStrides({2, 1, 640}), (MLShape{640, 640, 1}));
    EXPECT_EQ(calculateOptimalStrides({1, 10}), (MLShape{16, 1}));
    EXPECT_EQ(calculateOptimalStrides({1, 1024, 1}), (MLShape{16384, 16, 1}));
    EXPECT_EQ(calculateOptimalStrides({10}), (MLShape{1}));
    EXPECT_EQ(calculateOptimalStrides({}), MLShape{});
}

TEST(CalculateOptimalStrides, RefusesWhatIsNoShape) {
    expectError(Case::invalidShape, [] { calculateOptimalStrides({2, -1}); });
    constexpr std::int64_t large = std::numeric_limits<std::int64_t>::max();
    expectError(Case::allocationFailed, [] { calculateOptimalStrides({2, large}); });
    expectError(Case::allocationFailed, [] { calculateOptimalStrides({large, 4, 16}); });
}

TEST(CreateAlignedArray, IsAlignedAndHasThoseStrides) {
    for (const Type type : {Type::float16, Type::float32, Type::float64, Type::int32}) {
        const auto array = createAlignedArray({3, 10}, type);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array->rawData()) % 64, 0U);
        EXPECT_EQ(array->strides(), (MLShape{16, 1}));
        EXPECT_EQ(array->dataType(), type);
        EXPECT_EQ(array->count(), 30);
        EXPECT_FALSE(array->isContiguous());
    }
}

// Every byte that an allocation promises can be written; the address sanitizer watches the rest.
TEST(CreateAlignedArray, ClearsItsPaddingToo) {
    const auto array = createAlignedArray({1, 10}, Type::float32, ZeroClear::yes);
    for (int index = 0; index < 16; ++index)
        EXPECT_EQ(array->data<float>()[index], 0.0F);
    array->data<float>()[15] = 1;
}

TEST(CreateAlignedArray, OfAnEmptyShapeHasSixtyFourBytesAndNoElements) {
    const auto array = createAlignedArray({}, Type::float32, ZeroClear::yes);
    EXPECT_EQ(array->count(), 0);
    for (int index = 0; index < 64; ++index) {
        EXPECT_EQ(array->data<char>()[index], 0);
        array->data<char>()[index] = 1;
    }
    EXPECT_EQ(createAlignedArray({4, 0}, Type::float32)->count(), 0);
}

TEST(CreateAlignedArray, RefusesWhatCannotBeAllocated) {
    expectError(Case::invalidShape, [] { createAlignedArray({-5}, Type::float32); });
    constexpr std::int64_t large = std::numeric_limits<std::int64_t>::max();
    expectError(Case::allocationFailed, [] { createAlignedArray({large}, Type::float32); });
    expectError(Case::allocationFailed, [] { createAlignedArray({large / 4, 4}, Type::float32); });
    expectError(Case::allocationFailed, [] { createAlignedArray({large / 8}, Type::float64); });
}

TEST(ANEMemoryError, IsNamedByItsCase) {
    EXPECT_STREQ(ANEMemoryError(Case::allocationFailed).what(), "allocationFailed");
    EXPECT_STREQ(ANEMemoryError(Case::invalidShape).what(), "invalidShape");
    EXPECT_STREQ(ANEMemoryError(Case::unsupportedDataType).what(), "unsupportedDataType");
}

TEST(CreateZeroCopyView, SharesTheSourcesMemory) {
    const auto source = createAlignedArray({1, 64}, Type::float32);
    const auto view = createZeroCopyView(source, 16, {1, 32});
    EXPECT_EQ(view->data<float>(), source->data<float>() + 16);
    EXPECT_EQ(view->shape(), (MLShape{1, 32}));
    EXPECT_EQ(view->strides(), (MLShape{32, 1}));
    EXPECT_EQ(view->dataType(), Type::float32);
    view->data<float>()[0] = 7;
    EXPECT_EQ(source->data<float>()[16], 7.0F);
}

TEST(CreateZeroCopyView, TakesStridesOfTheCallers) {
    const auto source = createAlignedArray({64}, Type::int32);
    std::iota(source->data<std::int32_t>(), source->data<std::int32_t>() + 64, 0);
    const auto view = createZeroCopyView(source, 3, {2, 4}, MLShape{20, 2});
    EXPECT_EQ(view->data<std::int32_t>()[view->strides()[0] + 3 * view->strides()[1]], 29);
    const auto reversed = createZeroCopyView(source, 15, {16}, MLShape{-1});
    EXPECT_EQ(reversed->data<std::int32_t>()[-15], 0);
}

TEST(CreateZeroCopyView, MayBeAsLargeAsTheSourceAndNoLarger) {
    const auto source = createAlignedArray({1, 10}, Type::float32);
    EXPECT_EQ(createZeroCopyView(source, 0, {10})->count(), 10);
    EXPECT_EQ(createZeroCopyView(source, 10, {0})->count(), 0);
    EXPECT_EQ(createZeroCopyView(source, 9, {1})->count(), 1);
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 0, {11}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 1, {10}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 11, {0}); });
}

TEST(CreateZeroCopyView, RefusesNonsense) {
    const auto source = createAlignedArray({64}, Type::float32);
    constexpr std::int64_t large = std::numeric_limits<std::int64_t>::max();
    expectError(Case::invalidShape, [&] { createZeroCopyView(nullptr, 0, {1}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, -1, {1}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, large, {1}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 0, {-1}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 0, {4}, MLShape{1, 1}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 0, {4}, MLShape{large}); });
}

TEST(CreateZeroCopyView, NeverReachesOutsideTheSource) {
    const auto source = createAlignedArray({64}, Type::float32);
    // 40 elements fit, but their rows are padded to 16.
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 0, {8, 5}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 0, {2}, MLShape{64}); });
    expectError(Case::invalidShape, [&] { createZeroCopyView(source, 2, {4}, MLShape{-1}); });
    EXPECT_TRUE(rc::check([&] {
        const auto offset = *rc::gen::inRange<std::int64_t>(-2, 70);
        const auto rows = *rc::gen::inRange<std::int64_t>(0, 6);
        const auto columns = *rc::gen::inRange<std::int64_t>(0, 20);
        const auto rowStride = *rc::gen::inRange<std::int64_t>(-30, 31);
        const auto columnStride = *rc::gen::inRange<std::int64_t>(-3, 4);
        std::shared_ptr<MLMultiArray> view;
        try {
            view = createZeroCopyView(source, offset, {rows, columns}, MLShape{rowStride, columnStride});
        } catch (const ANEMemoryError&) {
            return;
        }
        for (std::int64_t row = 0; row < rows; ++row)
            for (std::int64_t column = 0; column < columns; ++column) {
                const auto position = offset + row * rowStride + column * columnStride;
                RC_ASSERT(position >= 0 && position < 64);
            }
    }));
}

TEST(CreateZeroCopyView, KeepsItsSourceAlive) {
    auto source = createAlignedArray({16}, Type::float32);
    source->data<float>()[3] = 5;
    const auto view = createZeroCopyView(source, 3, {1});
    source = nullptr;
    EXPECT_EQ(view->data<float>()[0], 5.0F);
}

} // namespace
} // namespace VarnelSpeech::ANEMemoryUtils
