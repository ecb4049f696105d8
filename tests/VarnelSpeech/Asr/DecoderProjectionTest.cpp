#include "VarnelSpeech/Asr/DecoderProjection.h"

#include "VarnelSpeech/Asr/StepTensor.h"
#include "VarnelSpeech/Shared/ANEMemoryUtils.h"
#include "support/TensorFactory.h"
#include "support/ThrownText.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Type = MLMultiArrayDataType;

// The projection as the joint network gets it.
std::vector<float> normalized(const MLMultiArray& projection) {
    const auto destination = makeStepTensor(640);
    normalizeDecoderProjection(projection, *destination);
    return {destination->data<float>(), destination->data<float>() + 640};
}

std::string failure(const MLMultiArray& projection) {
    return thrownText([&] { normalized(projection); });
}

TEST(DecoderProjection, MovesBothLayouts) {
    for (const MLShape& shape : {MLShape{1, 640, 1}, MLShape{1, 1, 640}}) {
        const auto values = normalized(*numberedTensor(640, shape, contiguousStrides(shape)));
        EXPECT_EQ(values.front(), 0.0F);
        EXPECT_EQ(values[123], 123.0F);
        EXPECT_EQ(values.back(), 639.0F);
    }
}

TEST(DecoderProjection, CopiesAProjectionOfPaddedStrides) {
    const auto projection = ANEMemoryUtils::createAlignedArray({1, 640, 1}, Type::float32);
    ASSERT_EQ(projection->strides(), (MLShape{10240, 16, 1}));
    for (int index = 0; index < 640; ++index) {
        projection->data<float>()[index * 16] = static_cast<float>(index);
    }
    EXPECT_EQ(normalized(*projection)[639], 639.0F);
}

TEST(DecoderProjection, WritesThroughTheDestinationsStride) {
    const auto destination = ANEMemoryUtils::createAlignedArray({1, 640, 1}, Type::float32);
    normalizeDecoderProjection(*numberedTensor(640, {1, 1, 640}, {640, 640, 1}), *destination);
    EXPECT_EQ(destination->data<float>()[16 * 639], 639.0F);
}

TEST(DecoderProjection, HonoursANegativeStrideOfBothOrigins) {
    const auto first = numberedTensor(640, {1, 640, 1}, {640, -1, 1}, 639);
    const auto lowest = numberedTensor(640, {1, 640, 1}, {640, -1, 1});
    lowest->setOrigin(MLDataOrigin::lowestAddress);
    for (const auto& projection : {first, lowest}) {
        const auto values = normalized(*projection);
        EXPECT_EQ(values.front(), 639.0F);
        EXPECT_EQ(values.back(), 0.0F);
    }
}

TEST(DecoderProjection, RefusesAnotherRank) {
    EXPECT_EQ(failure(*MLMultiArray::make({1, 640}, Type::float32)),
              processingFailed("Invalid decoder projection rank: [1, 640]"));
}

TEST(DecoderProjection, RefusesAnotherBatchSize) {
    EXPECT_EQ(failure(*MLMultiArray::make({2, 640, 1}, Type::float32)),
              processingFailed("Unsupported decoder batch dimension: 2"));
}

TEST(DecoderProjection, RefusesAnotherType) {
    EXPECT_EQ(failure(*MLMultiArray::make({1, 640, 1}, Type::int32)),
              processingFailed("Unsupported decoder projection type: Int32"));
}

TEST(DecoderProjection, RefusesAnotherHiddenSize) {
    EXPECT_EQ(failure(*MLMultiArray::make({1, 639, 1}, Type::float32)),
              processingFailed("Decoder projection hidden size mismatch: [1, 639, 1]"));
}

TEST(DecoderProjection, RefusesMoreThanOneStepOfTime) {
    EXPECT_EQ(failure(*MLMultiArray::make({1, 640, 2}, Type::float32)),
              processingFailed("Decoder projection time axis must be 1: [1, 640, 2]"));
    EXPECT_EQ(failure(*MLMultiArray::make({1, 640, 640}, Type::float32)),
              processingFailed("Decoder projection time axis must be 1: [1, 640, 640]"));
    EXPECT_EQ(failure(*MLMultiArray::make({1, 0, 640}, Type::float32)),
              processingFailed("Decoder projection time axis must be 1: [1, 0, 640]"));
}

TEST(DecoderProjection, RefusesADestinationOfAnotherShapeOrType) {
    const auto projection = MLMultiArray::make({1, 640, 1}, Type::float32);
    const auto text = [&](const MLShape& shape, Type type) {
        return thrownText([&] { normalizeDecoderProjection(*projection, *MLMultiArray::make(shape, type)); });
    };
    EXPECT_EQ(text({1, 1, 640}, Type::float32), processingFailed("Prepared decoder step shape mismatch: 1x1x640"));
    EXPECT_EQ(text({640}, Type::float32), processingFailed("Prepared decoder step shape mismatch: 640"));
    EXPECT_EQ(text({1, 640, 1}, Type::float16), processingFailed("Prepared decoder step shape mismatch: 1x640x1"));
}

TEST(DecoderProjection, RefusesStridesThatLeaveTheMemory) {
    const std::string outOfBounds = processingFailed("Decoder projection stride exceeds buffer bounds");
    EXPECT_EQ(failure(*numberedTensor(640, {1, 640, 1}, {640, 2, 1})), outOfBounds);
    EXPECT_EQ(failure(*numberedTensor(640, {1, 640, 1}, {640, -2, 1}, 639)), outOfBounds);
    // The same strides inside memory that is stated to be large enough.
    const auto wide = numberedTensor(1279, {1, 640, 1}, {1280, 2, 1});
    wide->setCapacity(1279);
    EXPECT_EQ(normalized(*wide)[639], 1278.0F);
    wide->setCapacity(1278);
    EXPECT_EQ(failure(*wide), outOfBounds);
}

TEST(DecoderProjection, RefusesStridesPast32Bits) {
    constexpr std::int64_t tooFar = std::int64_t{1} << 31;
    EXPECT_EQ(failure(*numberedTensor(640, {1, 640, 1}, {640, tooFar, 1})),
              processingFailed("Decoder projection stride exceeds supported range"));
    MLMultiArray destination(nullptr, {1, 640, 1}, Type::float32, {640, tooFar, 1}, nullptr);
    EXPECT_EQ(thrownText([&] {
                  normalizeDecoderProjection(*MLMultiArray::make({1, 640, 1}, Type::float32), destination);
              }),
              processingFailed("Decoder destination stride exceeds supported range"));
}

} // namespace
} // namespace VarnelSpeech::Testing
