#include "VarnelSpeech/Shared/PlatformConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "support/AudioFixtures.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <vector>

using namespace VarnelSpeech;
using Status = PlatformConverter::Status;

namespace {

constexpr AudioFormat speech = AudioFormat::speech();

AudioFormat interleaved(double sampleRate, std::uint32_t channels) {
    return {sampleRate, channels, AudioSampleType::float32, true};
}

// Converts samples that come in pieces and are asked for in pieces.
std::vector<float> convert(const std::vector<float>& samples, const AudioFormat& source, const AudioFormat& destination,
                           std::size_t inputFrames, std::size_t outputFrames) {
    PlatformConverter converter(source, destination);
    std::size_t given = 0;
    const auto input = [&]() -> PlatformConverter::Input {
        const std::size_t count = std::min(inputFrames * source.channels, samples.size() - given);
        if (count == 0)
            return {};
        const auto piece = std::span(samples).subspan(given, count);
        given += count;
        return {Status::haveData, PcmView::of(piece, source.sampleRate, source.channels)};
    };
    std::vector<float> result;
    std::vector<float> block(outputFrames);
    for (Status status = Status::haveData; status == Status::haveData;) {
        const auto output = converter.convert(block, input);
        status = output.status;
        if (status == Status::haveData) {
            EXPECT_EQ(output.frames, outputFrames);
        }
        result.insert(result.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(output.frames));
    }
    return result;
}

} // namespace

TEST(PlatformConverter, GivesTheSameSamplesHoweverInputAndOutputAreCut) {
    for (const double rate : {8000.0, 11025.0, 16000.0, 22050.0, 44100.0, 48000.0, 96000.0, 192000.0}) {
        const auto samples = Testing::noise(3, 2, 20000);
        const auto source = interleaved(rate, 2);
        const auto whole = convert(samples, source, speech, 20000, 200000);
        EXPECT_TRUE(rc::check([&] {
            const auto inputFrames = *rc::gen::inRange<std::size_t>(1, 9000);
            const auto outputFrames = *rc::gen::inRange<std::size_t>(1, 9000);
            RC_ASSERT(convert(samples, source, speech, inputFrames, outputFrames) == whole);
        })) << rate;
    }
}

TEST(PlatformConverter, GivesAsManyFramesAsTheRatesAskFor) {
    for (const double rate : {8000.0, 22050.0, 44100.0, 48000.0, 192000.0}) {
        const auto result = convert(Testing::noise(4, 1, 48000), interleaved(rate, 1), speech, 4096, 4096);
        EXPECT_NEAR(static_cast<double>(result.size()), 48000 * 16000 / rate, 1) << rate;
    }
}

TEST(PlatformConverter, KeepsATonesPhaseAndLevel) {
    for (const double rate : {8000.0, 44100.0, 48000.0}) {
        const auto result = convert(Testing::tone(1000, rate, 1, static_cast<std::size_t>(rate)), interleaved(rate, 1),
                                    speech, 4096, 4096);
        const auto expected = Testing::tone(1000, 16000, 1, 16000);
        for (std::size_t index = 1000; index < 15000; ++index)
            ASSERT_NEAR(result[index], expected[index], 1e-4) << rate << " at " << index;
    }
}

TEST(PlatformConverter, RemovesWhatTheNewRateCannotHold) {
    const auto result = convert(Testing::tone(10000, 48000, 1, 48000), interleaved(48000, 1), speech, 4096, 4096);
    for (std::size_t index = 1000; index < 15000; ++index)
        ASSERT_NEAR(result[index], 0, 1e-4);
}

TEST(PlatformConverter, MixesStereoToTheMean) {
    std::vector<float> samples;
    for (int frame = 0; frame < 100; ++frame) {
        samples.push_back(static_cast<float>(frame) / 100);
        samples.push_back(0.5F);
    }
    const auto result = convert(samples, interleaved(16000, 2), speech, 33, 7);
    ASSERT_EQ(result.size(), 100U);
    for (std::size_t frame = 0; frame < 100; ++frame)
        EXPECT_EQ(result[frame], (static_cast<float>(frame) / 100 + 0.5F) / 2);
}

TEST(PlatformConverter, TakesTheFirstChannelForATargetOfMore) {
    const std::vector<float> samples{0.25F, -1, 0.5F, -1};
    EXPECT_EQ(convert(samples, interleaved(16000, 2), interleaved(16000, 2), 2, 8), (std::vector<float>{0.25F, 0.5F}));
}

TEST(PlatformConverter, GivesNothingForNothing) {
    EXPECT_TRUE(convert({}, interleaved(48000, 2), speech, 1, 64).empty());
    EXPECT_TRUE(convert({}, interleaved(16000, 1), speech, 1, 64).empty());
}

TEST(PlatformConverter, AsksForInputUntilItsEndAndNotAgain) {
    PlatformConverter converter(interleaved(48000, 1), speech);
    const auto samples = Testing::noise(5, 1, 3000);
    int calls = 0;
    const auto input = [&]() -> PlatformConverter::Input {
        if (++calls == 1)
            return {Status::haveData, PcmView::of(samples, 48000, 1)};
        return {};
    };
    std::vector<float> block(4096);
    EXPECT_EQ(converter.convert(block, input).status, Status::endOfStream);
    EXPECT_EQ(calls, 2);
    const auto after = converter.convert(block, input);
    EXPECT_EQ(after.status, Status::endOfStream);
    EXPECT_EQ(after.frames, 0U);
    EXPECT_EQ(calls, 2);
}

TEST(PlatformConverter, LetsErrorsOfTheInputThrough) {
    PlatformConverter converter(interleaved(48000, 1), speech);
    std::vector<float> block(16);
    EXPECT_THROW(converter.convert(block, []() -> PlatformConverter::Input { throw std::runtime_error("gone"); }),
                 std::runtime_error);
}

TEST(PlatformConverter, RefusesFormatsItDoesNotConvert) {
    const auto refuses = [](const AudioFormat& source, const AudioFormat& destination) {
        try {
            PlatformConverter converter(source, destination);
            return false;
        } catch (const AudioConverterError& error) {
            EXPECT_STREQ(error.what(), "Failed to create audio converter");
            return error.error() == AudioConverterError::Case::failedToCreateConverter;
        }
    };
    EXPECT_TRUE(refuses(interleaved(48000, 3), speech));
    EXPECT_TRUE(refuses(interleaved(48000, 0), speech));
    EXPECT_TRUE(refuses(interleaved(0, 1), speech));
    EXPECT_TRUE(refuses(interleaved(std::nan(""), 1), speech));
    EXPECT_TRUE(refuses(interleaved(48000, 1), interleaved(0, 1)));
    EXPECT_TRUE(refuses(interleaved(48000, 1), {16000, 1, AudioSampleType::int16, false}));
}
