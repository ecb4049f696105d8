#include "VarnelSpeech/Shared/AudioWAV.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "VarnelSpeech/Shared/AudioFile.h"
#include "support/AudioFixtures.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

using namespace VarnelSpeech;

namespace {

std::string text(const std::vector<std::byte>& bytes, std::size_t from, std::size_t count) {
    return {reinterpret_cast<const char*>(bytes.data()) + from, count};
}

std::int64_t number(const std::vector<std::byte>& bytes, std::size_t from, std::size_t count) {
    std::int64_t value = 0;
    for (std::size_t index = count; index-- > 0;)
        value = value << 8 | std::to_integer<std::int64_t>(bytes[from + index]);
    return value;
}

std::int16_t sampleAt(const std::vector<std::byte>& bytes, std::size_t index) {
    return static_cast<std::int16_t>(number(bytes, 44 + 2 * index, 2));
}

} // namespace

TEST(AudioWAV, WritesHeadAndSixteenBitSamples) {
    const std::array samples{0.0F, 0.5F, -1.0F, 1.0F};
    const auto bytes = AudioWAV::data(samples, 16000);
    ASSERT_EQ(bytes.size(), 44U + 8U);
    EXPECT_EQ(text(bytes, 0, 4), "RIFF");
    EXPECT_EQ(number(bytes, 4, 4), 36 + 8);
    EXPECT_EQ(text(bytes, 8, 8), "WAVEfmt ");
    EXPECT_EQ(number(bytes, 16, 4), 16);
    EXPECT_EQ(number(bytes, 20, 2), 1);
    EXPECT_EQ(number(bytes, 22, 2), 1);
    EXPECT_EQ(number(bytes, 24, 4), 16000);
    EXPECT_EQ(number(bytes, 28, 4), 32000);
    EXPECT_EQ(number(bytes, 32, 2), 2);
    EXPECT_EQ(number(bytes, 34, 2), 16);
    EXPECT_EQ(text(bytes, 36, 4), "data");
    EXPECT_EQ(number(bytes, 40, 4), 8);
    EXPECT_EQ(sampleAt(bytes, 0), 0);
    EXPECT_EQ(sampleAt(bytes, 1), 16383);
    EXPECT_EQ(sampleAt(bytes, 2), -32767);
    EXPECT_EQ(sampleAt(bytes, 3), 32767);
}

TEST(AudioWAV, LimitsSamplesBeforeItScalesThem) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::array samples{1.5F, -7.0F, infinity, -infinity, std::nanf("")};
    const auto bytes = AudioWAV::data(samples, 8000);
    EXPECT_EQ(sampleAt(bytes, 0), 32767);
    EXPECT_EQ(sampleAt(bytes, 1), -32767);
    EXPECT_EQ(sampleAt(bytes, 2), 32767);
    EXPECT_EQ(sampleAt(bytes, 3), -32767);
    EXPECT_EQ(sampleAt(bytes, 4), 0);
}

TEST(AudioWAV, WritesAHeadWithoutSamples) {
    const auto bytes = AudioWAV::data({}, 44100);
    EXPECT_EQ(bytes.size(), 44U);
    EXPECT_EQ(number(bytes, 4, 4), 36);
    EXPECT_EQ(number(bytes, 40, 4), 0);
}

TEST(AudioWAV, RefusesWhatAWavFileCannotHold) {
    const float sample = 0;
    // Never read: the count alone decides.
    const std::span<const float> tooMany(&sample, std::size_t{1} << 31U);
    EXPECT_THROW(AudioWAV::data(tooMany, 16000), AudioConverterError);
    EXPECT_THROW(AudioWAV::data({&sample, 1}, 0), AudioConverterError);
    EXPECT_THROW(AudioWAV::data({&sample, 1}, std::nan("")), AudioConverterError);
    EXPECT_THROW(AudioWAV::data({&sample, 1}, 1e12), AudioConverterError);
}

TEST(AudioWAV, IsReadBackByTheReader) {
    const Testing::TemporaryFolder folder;
    const auto samples = Testing::tone(440, 22050, 1, 1000);
    Testing::writeBytes(folder / "tone.wav", AudioWAV::data(samples, 22050));
    AudioFile file(folder / "tone.wav");
    EXPECT_EQ(file.format(), (AudioFormat{22050, 1, AudioSampleType::float32, true}));
    std::vector<float> read(1001);
    ASSERT_EQ(file.read(read), 1000U);
    for (std::size_t index = 0; index < samples.size(); ++index)
        EXPECT_NEAR(read[index], samples[index], 1.0 / 16384);
}
