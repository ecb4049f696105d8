#include "VarnelSpeech/Diarizer/PowersetDecoder.h"

#include "VarnelSpeech/Shared/ANEMemoryUtils.h"
#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

namespace VarnelSpeech {
namespace {

using ANEMemoryUtils::ANEMemoryError;
using Frame = std::array<float, 3>;

std::shared_ptr<MLMultiArray> aligned(const MLShape& shape) {
    return ANEMemoryUtils::createAlignedArray(shape, MLMultiArrayDataType::float32, ANEMemoryUtils::ZeroClear::no);
}

std::shared_ptr<MLMultiArray> none(const MLShape&) {
    throw ANEMemoryError(ANEMemoryError::Case::allocationFailed);
}

Frame frameOf(const SpeakerActivity& activity, std::size_t frame) {
    const auto values = activity.frame(frame);
    return {values[0], values[1], values[2]};
}

// Of one frame, by both ways.
Frame decodeFrame(const std::vector<float>& scores) {
    const PowersetDecoder::Scores all{scores.data(), 1, scores.size()};
    const SpeakerActivity activity = PowersetDecoder::decodeScalar(all);
    EXPECT_EQ(PowersetDecoder::decode(all, aligned), activity);
    EXPECT_EQ(activity.frameCount(), 1U);
    return frameOf(activity, 0);
}

Frame decodeClass(std::size_t index) {
    std::vector<float> scores(7, -5);
    scores[index] = -1;
    return decodeFrame(scores);
}

TEST(PowersetDecoder, KnowsWhoSpeaksInEachClass) {
    EXPECT_EQ(decodeClass(0), (Frame{0, 0, 0}));
    EXPECT_EQ(decodeClass(1), (Frame{1, 0, 0}));
    EXPECT_EQ(decodeClass(2), (Frame{0, 1, 0}));
    EXPECT_EQ(decodeClass(3), (Frame{0, 0, 1}));
    EXPECT_EQ(decodeClass(4), (Frame{1, 1, 0}));
    EXPECT_EQ(decodeClass(5), (Frame{1, 0, 1}));
    EXPECT_EQ(decodeClass(6), (Frame{0, 1, 1}));
}

TEST(PowersetDecoder, TakesTheFirstOfEqualScores) {
    EXPECT_EQ(decodeFrame({0, 0, 0, 4, 0, 4, 0}), (Frame{0, 0, 1}));
    EXPECT_EQ(decodeFrame({2, 2, 2, 2, 2, 2, 2}), (Frame{0, 0, 0}));
}

TEST(PowersetDecoder, FindsNoScoreLargerThanOneThatIsNoNumber) {
    const float nan = std::nanf("");
    EXPECT_EQ(decodeFrame({nan, 1, 2, 3, 4, 5, 6}), (Frame{0, 0, 0}));
    EXPECT_EQ(decodeFrame({0, nan, 2, nan, 1, nan, nan}), (Frame{0, 1, 0}));
    EXPECT_EQ(decodeFrame(std::vector<float>(7, nan)), (Frame{0, 0, 0}));
    EXPECT_EQ(decodeFrame({0, 0, 0, std::numeric_limits<float>::infinity(), 0, 0, 0}), (Frame{0, 0, 1}));
}

TEST(PowersetDecoder, TakesOneClassForNobody) {
    EXPECT_EQ(decodeFrame({3}), (Frame{0, 0, 0}));
}

TEST(PowersetDecoder, TakesClassesPastTheTableForNobody) {
    EXPECT_EQ(decodeFrame({0, 0, 0, 0, 0, 0, 0, 9}), (Frame{0, 0, 0}));
}

TEST(PowersetDecoder, HearsNobodyInFramesOfNoClasses) {
    const SpeakerActivity activity = PowersetDecoder::decodeScalar({nullptr, 3, 0});
    EXPECT_EQ(activity, SpeakerActivity(3));
    EXPECT_EQ(PowersetDecoder::decode({nullptr, 3, 0}, aligned), activity);
}

TEST(PowersetDecoder, DecodesWithoutAnAlignedBufferAsWell) {
    const std::vector<float> scores{0, 1, 0, 0, 0, 0, 0, /**/ 0, 0, 0, 0, 0, 0, 1};
    const SpeakerActivity activity = PowersetDecoder::decode({scores.data(), 2, 7}, none);
    EXPECT_EQ(frameOf(activity, 0), (Frame{1, 0, 0}));
    EXPECT_EQ(frameOf(activity, 1), (Frame{0, 1, 1}));
}

TEST(PowersetDecoder, GivesTheSameResultBothWays) {
    EXPECT_TRUE(rc::check([] {
        const auto frames = *rc::gen::inRange<std::size_t>(0, 40);
        const auto classes = *rc::gen::inRange<std::size_t>(0, 10);
        // Few values, so that many are equal; the last one stands for what is no number.
        const auto drawn = *rc::gen::container<std::vector<int>>(frames * classes, rc::gen::inRange(0, 5));
        std::vector<float> scores;
        for (const int value : drawn)
            scores.push_back(value == 4 ? std::nanf("") : static_cast<float>(value) - 2);
        const PowersetDecoder::Scores all{scores.data(), frames, classes};
        const SpeakerActivity expected = PowersetDecoder::decodeScalar(all);
        RC_ASSERT(PowersetDecoder::decode(all, aligned) == expected);
        RC_ASSERT(PowersetDecoder::decode(all, none) == expected);
    }));
}

} // namespace
} // namespace VarnelSpeech
