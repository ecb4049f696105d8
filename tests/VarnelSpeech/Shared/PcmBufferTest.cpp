#include "VarnelSpeech/Shared/PcmBuffer.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace VarnelSpeech;

namespace {

constexpr AudioFormat stereo{48000, 2, AudioSampleType::float32, false};

void expectNoBuffer(const AudioFormat& format, std::size_t frames) {
    try {
        PcmBuffer buffer(format, frames);
        FAIL() << "no error";
    } catch (const AudioConverterError& error) {
        EXPECT_EQ(error.error(), AudioConverterError::Case::failedToCreateBuffer);
        EXPECT_STREQ(error.what(), "Failed to create conversion buffer");
    }
}

} // namespace

TEST(AudioFormat, DescribesItself) {
    EXPECT_EQ(describe({48000, 2, AudioSampleType::float32, true}), "48000 Hz, 2 channels, float32, interleaved");
    EXPECT_EQ(describe(AudioFormat::speech()), "16000 Hz, 1 channel, float32, non-interleaved");
    EXPECT_EQ(describe({22050.5, 1, AudioSampleType::int16, true}), "22050.5 Hz, 1 channel, int16, interleaved");
    EXPECT_EQ(describe({8000, 6, AudioSampleType::int32, false}), "8000 Hz, 6 channels, int32, non-interleaved");
    EXPECT_EQ(describe({8000, 6, AudioSampleType::float64, false}), "8000 Hz, 6 channels, float64, non-interleaved");
}

TEST(PcmBuffer, HoldsAPlaneForEachChannel) {
    PcmBuffer buffer(stereo, 3);
    EXPECT_EQ(buffer.planeCount(), 2U);
    EXPECT_EQ(buffer.frameLength(), 3U);
    EXPECT_EQ(buffer.bytes().size(), 24U);
    buffer.floatPlane(0)[2] = 0.25F;
    buffer.floatPlane(1)[0] = 0.5F;
    const PcmBuffer& read = buffer;
    EXPECT_EQ(read.floatPlane(0)[2], 0.25F);
    EXPECT_EQ(read.floatPlane(1)[0], 0.5F);
    EXPECT_EQ(read.plane(1).data(), read.bytes().data() + 12);
}

TEST(PcmBuffer, HoldsOnePlaneOfInterleavedAudio) {
    PcmBuffer buffer({48000, 2, AudioSampleType::float32, true}, 3);
    EXPECT_EQ(buffer.planeCount(), 1U);
    EXPECT_EQ(buffer.floatPlane(0).size(), 6U);
}

TEST(PcmBuffer, BeginsAsSilence) {
    PcmBuffer buffer(stereo, 1000);
    for (const float sample : buffer.floatPlane(1))
        EXPECT_EQ(sample, 0.0F);
}

TEST(PcmBuffer, GivesFloatsOfFloatsOnly) {
    PcmBuffer buffer({48000, 2, AudioSampleType::int16, false}, 4);
    EXPECT_TRUE(buffer.floatPlane(0).empty());
    EXPECT_EQ(buffer.plane(1).size(), 8U);
}

TEST(PcmBuffer, MayBeEmpty) {
    PcmBuffer buffer(stereo, 0);
    EXPECT_EQ(buffer.frameLength(), 0U);
    EXPECT_TRUE(buffer.floatPlane(1).empty());
}

TEST(PcmBuffer, RefusesFormatsWithoutSense) {
    expectNoBuffer({48000, 0, AudioSampleType::float32, false}, 1);
    expectNoBuffer({0, 1, AudioSampleType::float32, false}, 1);
    expectNoBuffer({-8000, 1, AudioSampleType::float32, false}, 1);
    expectNoBuffer({std::nan(""), 1, AudioSampleType::float32, false}, 1);
    expectNoBuffer({std::numeric_limits<double>::infinity(), 1, AudioSampleType::float32, false}, 1);
}

TEST(PcmBuffer, RefusesMoreFramesThan32BitsCount) {
    expectNoBuffer({48000, 1, AudioSampleType::int16, false}, std::size_t{1} << 32U);
    expectNoBuffer({48000, 0xFFFFFFFFU, AudioSampleType::float64, true}, 0xFFFFFFFFU);
}
