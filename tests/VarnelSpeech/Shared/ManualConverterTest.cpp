#include "VarnelSpeech/Shared/ManualConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "support/AudioFixtures.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

using namespace VarnelSpeech;

namespace {

// The rule in its plain form, over the whole input.
std::vector<float> plain(const std::vector<float>& mono, double sourceRate, double destinationRate) {
    const double ratio = sourceRate / destinationRate;
    const auto frames = mono.size();
    std::vector<float> result(static_cast<std::size_t>(static_cast<double>(frames) / ratio), 0.0F);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const double position = ratio * static_cast<double>(i);
        const auto index = static_cast<std::size_t>(position);
        const auto fraction = static_cast<float>(position - static_cast<double>(index));
        if (index + 1 < frames)
            result[i] = mono[index] * (1 - fraction) + mono[index + 1] * fraction;
        else if (index < frames)
            result[i] = mono[index];
    }
    return result;
}

std::vector<float> convert(const std::vector<float>& mono, double sourceRate, double destinationRate,
                           std::size_t pieceFrames) {
    ManualConverter converter(sourceRate, destinationRate);
    SampleCollector result(0);
    for (std::size_t from = 0; from < mono.size(); from += pieceFrames)
        converter.append(std::span(mono).subspan(from, std::min(pieceFrames, mono.size() - from)), result);
    converter.finish(result);
    return result.take();
}

} // namespace

TEST(ManualConverter, TakesEveryThirdSampleOf48kHz) {
    const auto mono = Testing::noise(1, 1, 1000);
    const auto result = convert(mono, 48000, 16000, 1000);
    ASSERT_EQ(result.size(), 333U);
    for (std::size_t index = 0; index < result.size(); ++index)
        EXPECT_EQ(result[index], mono[3 * index]);
}

TEST(ManualConverter, InterpolatesBetweenNeighbours) {
    EXPECT_EQ(convert({0, 1, 2, 3}, 24000, 16000, 4), (std::vector<float>{0, 1.5F}));
    EXPECT_EQ(convert({0, 1, 2}, 8000, 16000, 3), (std::vector<float>{0, 0.5F, 1, 1.5F, 2, 2}));
}

TEST(ManualConverter, ReadsTheLastSampleAloneAtTheEnd) {
    // At 44.1 kHz, output 8 lies at 22.05: with 23 frames there is nothing behind the last one.
    std::vector<float> mono(23);
    for (std::size_t index = 0; index < mono.size(); ++index)
        mono[index] = static_cast<float>(index);
    const auto result = convert(mono, 44100, 16000, 23);
    ASSERT_EQ(result.size(), 8U); // trunc(23 / 2.75625)
    EXPECT_FLOAT_EQ(result[7], 19.29375F);
    mono.resize(25); // trunc(25 / 2.75625) = 9, and output 8 has a neighbour
    EXPECT_EQ(convert(mono, 44100, 16000, 25).size(), 9U);
    // 12 frames at 22.05 kHz: trunc(12 / 1.378125) = 8, output 7 lies at 9.6; of 8 kHz the last output has none.
    EXPECT_EQ(convert({0.25F, 0.75F}, 8000, 16000, 2).back(), 0.75F);
}

TEST(ManualConverter, DropsTheOutputBeyondTheRoundedCount) {
    // Six frames at a ratio of 4 are one and a half outputs; the second, at position 4, could be read but is not due.
    EXPECT_EQ(convert({1, 2, 3, 4, 5, 6}, 64000, 16000, 6), (std::vector<float>{1}));
    EXPECT_EQ(convert({1, 2, 3, 4, 5, 6}, 64000, 16000, 1), (std::vector<float>{1}));
}

TEST(ManualConverter, GivesNothingForNothing) {
    EXPECT_TRUE(convert({}, 44100, 16000, 1).empty());
    EXPECT_TRUE(convert({0.5F}, 48000, 16000, 1).empty());
}

TEST(ManualConverter, PassesEqualRatesThrough) {
    const auto mono = Testing::noise(2, 1, 500);
    EXPECT_EQ(convert(mono, 16000, 16000, 77), mono);
}

TEST(ManualConverter, FollowsTheRuleHoweverTheInputIsCut) {
    EXPECT_TRUE(rc::check([] {
        const auto rates = std::vector<double>{8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000, 192000, 999983};
        const double source = *rc::gen::elementOf(rates);
        const double destination = *rc::gen::elementOf(rates);
        const auto frames = *rc::gen::inRange<std::size_t>(0, 3000);
        const auto pieceFrames = *rc::gen::inRange<std::size_t>(1, 3000);
        const auto mono = Testing::noise(7, 1, frames);
        RC_ASSERT(convert(mono, source, destination, pieceFrames) == plain(mono, source, destination));
    }));
}

TEST(ManualConverter, RefusesRatesWithoutSense) {
    EXPECT_THROW(ManualConverter(48000, 0), AudioConverterError);
    EXPECT_THROW(ManualConverter(0, 16000), AudioConverterError);
    EXPECT_THROW(ManualConverter(48000, std::nan("")), AudioConverterError);
    EXPECT_THROW(ManualConverter(std::numeric_limits<double>::infinity(), 16000), AudioConverterError);
}
