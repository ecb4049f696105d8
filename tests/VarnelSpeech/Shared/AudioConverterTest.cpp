#include "VarnelSpeech/Shared/AudioConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "support/AudioFixtures.h"
#include "support/LogRecorder.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using namespace VarnelSpeech;
using Case = AudioConverterError::Case;
using Testing::LogRecorder;

namespace {

PcmBuffer interleaved(double sampleRate, std::uint32_t channels, const std::vector<float>& samples) {
    PcmBuffer buffer({sampleRate, channels, AudioSampleType::float32, true}, samples.size() / channels);
    std::copy(samples.begin(), samples.end(), buffer.floatPlane(0).begin());
    return buffer;
}

// The same frames, in planes.
PcmBuffer planar(double sampleRate, std::uint32_t channels, const std::vector<float>& samples) {
    PcmBuffer buffer({sampleRate, channels, AudioSampleType::float32, false}, samples.size() / channels);
    for (std::size_t index = 0; index < samples.size(); ++index)
        buffer.floatPlane(index % channels)[index / channels] = samples[index];
    return buffer;
}

template <typename Operation>
void expectError(Case expected, const std::string& text, Operation&& operation) {
    try {
        operation();
        FAIL() << "no error, but expected: " << text;
    } catch (const AudioConverterError& error) {
        EXPECT_EQ(error.error(), expected);
        EXPECT_EQ(error.what(), text);
    }
}

SampleBuffer sampleBuffer(const AudioFormat& format, const std::vector<float>& samples) {
    const std::size_t frames = samples.size() / format.channels;
    return {format, frames, Testing::bytesOf(samples), 0};
}

} // namespace

TEST(AudioConverterError, HasOneTextACase) {
    EXPECT_STREQ(AudioConverterError::conversionFailed("out of memory").what(),
                 "Audio conversion failed: out of memory");
    EXPECT_STREQ(AudioConverterError::sampleBufferCopyFailed(-12731).what(),
                 "Failed to copy samples from CMSampleBuffer (status: -12731)");
    EXPECT_STREQ(AudioConverterError(Case::failedToCreateConverter).what(), "Failed to create audio converter");
    EXPECT_STREQ(AudioConverterError(Case::failedToCreateBuffer).what(), "Failed to create conversion buffer");
    EXPECT_STREQ(AudioConverterError(Case::sampleBufferFormatMissing).what(),
                 "Sample buffer is missing a valid audio format description.");
    EXPECT_STREQ(AudioConverterError(Case::failedToCreateSourceFormat).what(),
                 "Failed to create a source audio format description for CMSampleBuffer.");
    EXPECT_EQ(AudioConverterError::sampleBufferCopyFailed(-12731).status(), -12731);
}

TEST(AudioConverter, TargetsSixteenKilohertzMonoFloats) {
    const AudioConverter converter;
    EXPECT_EQ(converter.targetFormat(), (AudioFormat{16000, 1, AudioSampleType::float32, false}));
    EXPECT_TRUE(converter.isTargetFormat(AudioFormat::speech()));
    EXPECT_FALSE(converter.isTargetFormat({16000.5, 1, AudioSampleType::float32, false}));
    EXPECT_FALSE(converter.isTargetFormat({16000, 2, AudioSampleType::float32, false}));
    EXPECT_FALSE(converter.isTargetFormat({16000, 1, AudioSampleType::int16, false}));
    EXPECT_FALSE(converter.isTargetFormat({16000, 1, AudioSampleType::float32, true}));
    EXPECT_TRUE(AudioConverter({48000, 2, AudioSampleType::float32, true})
                    .isTargetFormat({48000, 2, AudioSampleType::float32, true}));
}

TEST(AudioConverter, ConvertsAStereoBufferOfTheTargetsRate) {
    // Not the target format, though no resampling is due.
    const auto samples = Testing::noise(1, 2, 1000);
    const auto result = AudioConverter().resampleBuffer(interleaved(16000, 2, samples));
    ASSERT_EQ(result.size(), 1000U);
    for (std::size_t frame = 0; frame < result.size(); ++frame)
        EXPECT_EQ(result[frame], (samples[2 * frame] + samples[2 * frame + 1]) * 0.5F);
}

TEST(AudioConverter, ConvertsEveryRateToTheEstimatedLength) {
    for (const double rate : {8000.0, 11025.0, 22050.0, 32000.0, 44100.0, 48000.0, 96000.0, 192000.0}) {
        const auto frames = static_cast<std::size_t>(rate);
        const auto result = AudioConverter().resampleBuffer(interleaved(rate, 2, Testing::tone(440, rate, 2, frames)));
        EXPECT_EQ(result.size(), 16000U) << rate;
    }
}

TEST(AudioConverter, TreatsPlanesAndInterleavedFramesAlike) {
    for (const std::uint32_t channels : {1U, 2U, 3U, 6U}) {
        const auto samples = Testing::noise(channels, channels, 5000);
        EXPECT_EQ(AudioConverter().resampleBuffer(interleaved(44100, channels, samples)),
                  AudioConverter().resampleBuffer(planar(44100, channels, samples)));
    }
}

TEST(AudioConverter, TakesTheManualPathForThreeAndMoreChannels) {
    const auto samples = Testing::noise(6, 6, 10000);
    const auto result = AudioConverter().resampleBuffer(interleaved(48000, 6, samples));
    ASSERT_EQ(result.size(), 3333U);
    for (std::size_t output = 0; output < result.size(); ++output) {
        float sum = 0;
        for (std::size_t channel = 0; channel < 6; ++channel)
            sum += samples[3 * output * 6 + channel];
        EXPECT_EQ(result[output], sum * (1.0F / 6));
    }
}

TEST(AudioConverter, MixesManyChannelsOfTheTargetsRateWithoutResampling) {
    const auto samples = Testing::noise(3, 3, 100);
    const auto result = AudioConverter().resampleBuffer(planar(16000, 3, samples));
    ASSERT_EQ(result.size(), 100U);
    EXPECT_EQ(result[99], (samples[297] + samples[298] + samples[299]) * (1.0F / 3));
}

TEST(AudioConverter, EndsAManualConversionOf44100HzOnOneSample) {
    // 23 frames: output 7 of 8 lies at 19.29; of 25 frames the ninth output lies at 22.05; of 3 frames the only
    // output lies at 0.
    std::vector<float> samples;
    for (int frame = 0; frame < 25; ++frame)
        samples.insert(samples.end(), 3, static_cast<float>(frame));
    EXPECT_EQ(AudioConverter().resampleBuffer(interleaved(44100, 3, samples)).size(), 9U);
    // To a higher rate the last outputs lie behind the last sample: they read it alone.
    const auto up = AudioConverter({48000}).resampleBuffer(interleaved(44100, 3, samples));
    ASSERT_EQ(up.size(), 27U);
    EXPECT_FLOAT_EQ(up[25], 22.96875F);
    EXPECT_FLOAT_EQ(up[26], 23.8875F);
    EXPECT_EQ(AudioConverter({96000}).resampleBuffer(interleaved(44100, 3, samples)).back(), 24.0F);
}

TEST(AudioConverter, NeedsFloatsForTheManualPath) {
    for (const auto type : {AudioSampleType::int16, AudioSampleType::int32, AudioSampleType::float64})
        expectError(Case::failedToCreateBuffer, "Failed to create conversion buffer", [type] {
            AudioConverter().resampleBuffer(PcmBuffer({48000, 6, type, true}, 10));
        });
}

TEST(AudioConverter, ConvertsIntegers) {
    PcmBuffer buffer({16000, 2, AudioSampleType::int16, true}, 2);
    const std::int16_t samples[] = {16384, 0, -32768, -32768};
    std::memcpy(buffer.bytes().data(), samples, sizeof(samples));
    EXPECT_EQ(AudioConverter().resampleBuffer(buffer), (std::vector<float>{0.25F, -1}));
}

TEST(AudioConverter, GivesNothingForAnEmptyBuffer) {
    for (const std::uint32_t channels : {1U, 2U, 6U})
        EXPECT_TRUE(AudioConverter().resampleBuffer(interleaved(48000, channels, {})).empty());
}

TEST(AudioConverter, KeepsBadSamplesFromSpoilingTheirNeighbours) {
    auto samples = Testing::tone(440, 48000, 1, 48000);
    auto silenced = samples;
    for (const std::size_t index : {std::size_t{100}, std::size_t{20000}, std::size_t{47999}}) {
        samples[index] = index == 100 ? std::nanf("") : std::numeric_limits<float>::infinity();
        silenced[index] = 0;
    }
    const auto result = AudioConverter().resampleBuffer(interleaved(48000, 1, samples));
    EXPECT_EQ(result, AudioConverter().resampleBuffer(interleaved(48000, 1, silenced)));
    for (const float sample : result)
        ASSERT_TRUE(std::isfinite(sample));
}

TEST(AudioConverter, GivesFiniteSamplesForAnyFloats) {
    EXPECT_TRUE(rc::check([](const std::vector<std::uint32_t>& bits) {
        std::vector<float> samples(bits.size() / 2 * 2);
        for (std::size_t index = 0; index < samples.size(); ++index)
            samples[index] = std::bit_cast<float>(bits[index]);
        for (const float sample : AudioConverter().resampleBuffer(interleaved(44100, 2, samples)))
            RC_ASSERT(std::isfinite(sample));
    }));
}

TEST(AudioConverter, RefusesResultsBeyond32BitsOfFrames) {
    const AudioConverter converter({4e9});
    expectError(Case::failedToCreateBuffer, "Failed to create conversion buffer",
                [&] { converter.resampleBuffer(interleaved(8000, 1, std::vector<float>(20000))); });
    expectError(Case::failedToCreateBuffer, "Failed to create conversion buffer",
                [&] { converter.resampleBuffer(interleaved(8000, 3, std::vector<float>(60000))); });
}

TEST(AudioConverter, RefusesTargetsItCannotMake) {
    const auto text = "Failed to create audio converter";
    for (const AudioFormat& target : {AudioFormat{0}, AudioFormat{16000, 1, AudioSampleType::int16}})
        expectError(Case::failedToCreateConverter, text, [&] {
            AudioConverter(target).resampleBuffer(interleaved(8000, 1, {0, 0}));
        });
    expectError(Case::failedToCreateConverter, text, [&] {
        AudioConverter({0}).resampleBuffer(interleaved(8000, 3, {0, 0, 0}));
    });
}

TEST(AudioConverter, LogsConversionsWhenItIsToldTo) {
    LogRecorder log;
    AudioConverter({16000}, true).resampleBuffer(interleaved(48000, 1, std::vector<float>(3000)));
    AudioConverter({16000}, true).resampleBuffer(interleaved(44100, 6, std::vector<float>(600)));
    AudioConverter({16000}, true).resampleBuffer(interleaved(16000, 6, std::vector<float>(600)));
    AudioConverter({16000}, false).resampleBuffer(interleaved(48000, 1, std::vector<float>(3000)));
    const std::vector<LogRecorder::Line> expected{
        {AppLogger::Level::debug, "AudioConverter",
         "Audio conversion: 3000 samples → 1000 samples, ratio: 0.3333333333333333"},
        {AppLogger::Level::debug, "AudioConverter", "Manual resampling: 6 channels → mono, 44100Hz → 16000Hz"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST(AudioConverter, ExtractsTheFirstChannel) {
    EXPECT_EQ(AudioConverter::extractFloatArray(interleaved(48000, 2, {1, 2, 3, 4})), (std::vector<float>{1, 3}));
    EXPECT_EQ(AudioConverter::extractFloatArray(planar(48000, 2, {1, 2, 3, 4})), (std::vector<float>{1, 3}));
    EXPECT_TRUE(AudioConverter::extractFloatArray(planar(48000, 2, {})).empty());
    EXPECT_TRUE(AudioConverter::extractFloatArray(PcmBuffer({16000, 1, AudioSampleType::int16, false}, 5)).empty());
}

TEST(AudioConverter, MakesABufferOfASampleBuffer) {
    const AudioFormat stereo{48000, 2, AudioSampleType::float32, false};
    const PcmBuffer buffer = AudioConverter::pcmBuffer(sampleBuffer(stereo, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(buffer.format(), stereo);
    EXPECT_EQ(buffer.frameLength(), 3U);
    EXPECT_EQ(buffer.floatPlane(1)[0], 4.0F);
}

TEST(AudioConverter, CopiesNothingOfAnEmptySampleBuffer) {
    SampleBuffer empty{AudioFormat{48000, 2}, 0, {}, -50};
    const PcmBuffer buffer = AudioConverter::pcmBuffer(empty); // the status would fail a copy
    EXPECT_EQ(buffer.frameLength(), 0U);
    EXPECT_TRUE(AudioConverter().resampleSampleBuffer(empty).empty());
}

TEST(AudioConverter, RefusesSampleBuffersThatDoNotSayWhatTheyAre) {
    expectError(Case::sampleBufferFormatMissing, "Sample buffer is missing a valid audio format description.", [] {
        AudioConverter::pcmBuffer({std::nullopt, 3, std::vector<std::byte>(12), 0});
    });
    for (const AudioFormat& format : {AudioFormat{0, 1}, AudioFormat{48000, 0}})
        expectError(Case::failedToCreateSourceFormat,
                    "Failed to create a source audio format description for CMSampleBuffer.", [&] {
                        AudioConverter::pcmBuffer({format, 3, std::vector<std::byte>(12), 0});
                    });
}

TEST(AudioConverter, RefusesSampleBuffersBeyond32BitsOfFrames) {
    expectError(Case::failedToCreateBuffer, "Failed to create conversion buffer", [] {
        AudioConverter::pcmBuffer({AudioFormat{}, std::size_t{1} << 32U, {}, 0});
    });
}

TEST(AudioConverter, ReportsACopyThatFails) {
    expectError(Case::sampleBufferCopyFailed, "Failed to copy samples from CMSampleBuffer (status: -12731)", [] {
        AudioConverter().resampleSampleBuffer({AudioFormat{}, 3, std::vector<std::byte>(12), -12731});
    });
    expectError(Case::sampleBufferCopyFailed, "Failed to copy samples from CMSampleBuffer (status: -1)", [] {
        AudioConverter().resampleSampleBuffer({AudioFormat{}, 3, std::vector<std::byte>(11), 0});
    });
}

TEST(AudioConverter, ConvertsASampleBufferAsItsBuffer) {
    const auto samples = Testing::noise(9, 2, 4800);
    const AudioFormat format{48000, 2, AudioSampleType::float32, true};
    EXPECT_EQ(AudioConverter().resampleSampleBuffer(sampleBuffer(format, samples)),
              AudioConverter().resampleBuffer(interleaved(48000, 2, samples)));
}
