#include "VarnelSpeech/Asr/EncoderFrameView.h"

#include "support/ScriptedTransducer.h"
#include "support/TensorFactory.h"
#include "support/ThrownText.h"

#include <array>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Frame = std::array<float, 1024>;

Frame frame(const EncoderFrameView& view, std::int64_t index) {
    Frame values{};
    view.copyFrame(index, values.data(), 1);
    return values;
}

std::string failure(const MLShape& shape, std::int64_t length = 100) {
    return thrownText([&] { EncoderFrameView(MLMultiArray::make(shape, MLMultiArrayDataType::float32), length); });
}

TEST(EncoderFrameView, ReadsFramesOfBothLayouts) {
    for (const EncoderLayout layout : {EncoderLayout::hiddenFirst, EncoderLayout::timeFirst}) {
        const EncoderFrameView view(makeEncoderOutput(7, layout), 100);
        EXPECT_EQ(view.count(), 7);
        const Frame values = frame(view, 5);
        EXPECT_EQ(values[0], 5.0F);
        EXPECT_EQ(values[1], 1.0F);
        EXPECT_EQ(values[1023], 1023.0F);
    }
}

TEST(EncoderFrameView, FindsTheAxesAndStridesOfBothLayouts) {
    const EncoderFrameView hiddenFirst(makeEncoderOutput(7, EncoderLayout::hiddenFirst), 100);
    EXPECT_EQ(hiddenFirst.hiddenAxis(), 1U);
    EXPECT_EQ(hiddenFirst.timeAxis(), 2U);
    EXPECT_EQ(hiddenFirst.hiddenStride(), 7);
    EXPECT_EQ(hiddenFirst.timeStride(), 1);
    const EncoderFrameView timeFirst(makeEncoderOutput(7, EncoderLayout::timeFirst), 100);
    EXPECT_EQ(timeFirst.hiddenAxis(), 2U);
    EXPECT_EQ(timeFirst.timeAxis(), 1U);
    EXPECT_EQ(timeFirst.hiddenStride(), 1);
    EXPECT_EQ(timeFirst.timeStride(), 1024);
}

TEST(EncoderFrameView, TakesTheFirstAxisOf1024ForTheHiddenOne) {
    const EncoderFrameView view(MLMultiArray::make({1, 1024, 1024}, MLMultiArrayDataType::float32), 2000);
    EXPECT_EQ(view.hiddenAxis(), 1U);
    EXPECT_EQ(view.count(), 1024);
}

TEST(EncoderFrameView, CountsNoMoreFramesThanTheEncodersLength) {
    EXPECT_EQ(EncoderFrameView(makeEncoderOutput(7), 3).count(), 3);
}

TEST(EncoderFrameView, WritesThroughTheDestinationsStride) {
    const EncoderFrameView view(makeEncoderOutput(2), 2);
    std::vector<float> values(1024 * 16, -1.0F);
    view.copyFrame(1, values.data(), 16);
    EXPECT_EQ(values[0], 1.0F);
    EXPECT_EQ(values[16 * 1023], 1023.0F);
    EXPECT_EQ(values[1], -1.0F);
}

TEST(EncoderFrameView, StartsANegativeTimeStrideAtTheDataPointerWhenThatIsElementZero) {
    // Frame 0 lies last in memory, and the data pointer points at it.
    const auto tensor = numberedTensor(std::size_t{3} * 1024, {1, 3, 1024}, {3072, -1024, 1}, 2048);
    const EncoderFrameView view(tensor, 3);
    EXPECT_EQ(view.timeBaseOffset(), 0);
    EXPECT_EQ(frame(view, 0)[0], 2048.0F);
    EXPECT_EQ(frame(view, 2)[1], 1.0F);
}

TEST(EncoderFrameView, StartsANegativeTimeStrideAtTheFarEndWhenTheDataPointerIsTheLowestAddress) {
    const auto tensor = numberedTensor(std::size_t{3} * 1024, {1, 3, 1024}, {3072, -1024, 1});
    tensor->setOrigin(MLDataOrigin::lowestAddress);
    const EncoderFrameView view(tensor, 3);
    EXPECT_EQ(view.timeBaseOffset(), 2048);
    EXPECT_EQ(frame(view, 0)[0], 2048.0F);
    EXPECT_EQ(frame(view, 2)[1], 1.0F);
}

TEST(EncoderFrameView, HonoursANegativeHiddenStrideOfBothOrigins) {
    const auto first = numberedTensor(2048, {1, 2, 1024}, {2048, 1024, -1}, 1023);
    const auto lowest = numberedTensor(2048, {1, 2, 1024}, {2048, 1024, -1});
    lowest->setOrigin(MLDataOrigin::lowestAddress);
    for (const auto& tensor : {first, lowest}) {
        const Frame values = frame(EncoderFrameView(tensor, 2), 1);
        EXPECT_EQ(values[0], 2047.0F);
        EXPECT_EQ(values[1023], 1024.0F);
    }
}

TEST(EncoderFrameView, RefusesAnotherRank) {
    EXPECT_EQ(failure({1024, 5}), processingFailed("Invalid encoder output shape: [1024, 5]"));
    EXPECT_EQ(failure({1, 1, 1024, 5}), processingFailed("Invalid encoder output shape: [1, 1, 1024, 5]"));
    EXPECT_EQ(failure({}), processingFailed("Invalid encoder output shape: []"));
}

TEST(EncoderFrameView, RefusesAnotherBatchSize) {
    EXPECT_EQ(failure({2, 1024, 5}), processingFailed("Unsupported batch dimension: 2"));
    EXPECT_EQ(failure({0, 1024, 5}), processingFailed("Unsupported batch dimension: 0"));
}

TEST(EncoderFrameView, RefusesAnotherHiddenSize) {
    EXPECT_EQ(failure({1, 512, 188}), processingFailed("Encoder hidden size mismatch: [1, 512, 188]"));
}

TEST(EncoderFrameView, RefusesATensorWithoutFrames) {
    EXPECT_EQ(failure({1, 1024, 0}), processingFailed("Encoder output has no frames"));
    EXPECT_EQ(failure({1, 1024, 5}, 0), processingFailed("Encoder output has no frames"));
    EXPECT_EQ(failure({1, 1024, 5}, -3), processingFailed("Encoder output has no frames"));
}

TEST(EncoderFrameView, RefusesAnotherType) {
    const auto text = thrownText([] {
        EncoderFrameView(MLMultiArray::make({1, 1024, 2}, MLMultiArrayDataType::float64), 2);
    });
    EXPECT_EQ(text, processingFailed("Unsupported encoder output type: Double"));
}

TEST(EncoderFrameView, RefusesAFrameOutOfRange) {
    const EncoderFrameView view(makeEncoderOutput(7), 5);
    EXPECT_EQ(thrownText([&] { frame(view, 5); }), processingFailed("Encoder frame index out of range: 5"));
    EXPECT_EQ(thrownText([&] { frame(view, -1); }), processingFailed("Encoder frame index out of range: -1"));
}

TEST(EncoderFrameView, RefusesStridesThatCannotBeCopied) {
    float memory = 0;
    Frame values{};
    const auto text = [&](std::int64_t hiddenStride, std::int64_t destinationStride) {
        const auto tensor = std::make_shared<MLMultiArray>(&memory, MLShape{1, 1024, 1}, MLMultiArrayDataType::float32,
                                                           MLShape{1, hiddenStride, 1}, nullptr);
        return thrownText([&] { EncoderFrameView(tensor, 1).copyFrame(0, values.data(), destinationStride); });
    };
    constexpr std::int64_t tooFar = std::int64_t{1} << 31;
    EXPECT_EQ(text(0, 1), processingFailed("Invalid hidden stride: 0"));
    EXPECT_EQ(text(tooFar, 1), processingFailed("Hidden stride exceeds supported range"));
    EXPECT_EQ(text(-tooFar - 1, 1), processingFailed("Hidden stride exceeds supported range"));
    EXPECT_EQ(text(1, tooFar), processingFailed("Destination stride exceeds supported range"));
}

} // namespace
} // namespace VarnelSpeech::Testing
