#include "VarnelSpeech/Shared/MonoMixdown.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using namespace VarnelSpeech;

namespace {

template <typename Sample>
AudioSampleType typeOf();

template <>
AudioSampleType typeOf<float>() {
    return AudioSampleType::float32;
}

template <>
AudioSampleType typeOf<double>() {
    return AudioSampleType::float64;
}

template <>
AudioSampleType typeOf<std::int16_t>() {
    return AudioSampleType::int16;
}

template <>
AudioSampleType typeOf<std::int32_t>() {
    return AudioSampleType::int32;
}

// Mixes frames given channel by channel, lying in planes or interleaved.
template <typename Sample>
std::vector<float> mixed(const std::vector<std::vector<Sample>>& channels, bool interleaved,
                         MonoRule rule = MonoRule::meanOfChannels) {
    const std::size_t frames = channels[0].size();
    PcmBuffer buffer({16000, static_cast<std::uint32_t>(channels.size()), typeOf<Sample>(), interleaved}, frames);
    auto* samples = reinterpret_cast<Sample*>(buffer.bytes().data());
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
        for (std::size_t frame = 0; frame < frames; ++frame)
            samples[interleaved ? frame * channels.size() + channel : channel * frames + frame] =
                channels[channel][frame];
    std::vector<float> mono(frames);
    mixToMono(PcmView::of(buffer), 0, mono, rule);
    return mono;
}

constexpr float infinity = std::numeric_limits<float>::infinity();
const float notANumber = std::nanf("");

} // namespace

TEST(MonoMixdown, ScalesIntegersToOne) {
    for (const bool interleaved : {false, true}) {
        EXPECT_EQ(mixed<std::int16_t>({{-32768, 16384, 1}}, interleaved), (std::vector<float>{-1, 0.5F, 1.0F / 32768}));
        EXPECT_EQ(mixed<std::int32_t>({{std::numeric_limits<std::int32_t>::min(), 1 << 30}}, interleaved),
                  (std::vector<float>{-1, 0.5F}));
        EXPECT_EQ(mixed<double>({{0.25, -3.5}}, interleaved), (std::vector<float>{0.25F, -3.5F}));
    }
}

TEST(MonoMixdown, SumsChannelsInTheirOrderAndScalesOnce) {
    EXPECT_TRUE(rc::check([] {
        const auto channels = *rc::gen::inRange<std::size_t>(1, 8);
        const auto frames = *rc::gen::inRange<std::size_t>(1, 50);
        const auto sample = rc::gen::map(rc::gen::inRange(-1000000, 1000000),
                                         [](int value) { return static_cast<float>(value) / 1000003; });
        const auto samples = *rc::gen::container<std::vector<std::vector<float>>>(
            channels, rc::gen::container<std::vector<float>>(frames, sample));
        std::vector<float> expected(frames);
        for (std::size_t frame = 0; frame < frames; ++frame) {
            float sum = 0;
            for (const auto& channel : samples)
                sum += channel[frame];
            expected[frame] = sum * (1.0F / static_cast<float>(channels));
        }
        RC_ASSERT(mixed(samples, false) == expected);
        RC_ASSERT(mixed(samples, true) == expected);
        RC_ASSERT(mixed(samples, true, MonoRule::firstChannel) == samples[0]);
    }));
}

TEST(MonoMixdown, CountsWhatIsNoSoundAsSilence) {
    const std::vector<float> bad{notANumber, infinity, -infinity, 0x1p60F, -0x1p100F, 0.5F};
    const std::vector<float> good(bad.size(), 0.25F);
    for (const bool interleaved : {false, true}) {
        EXPECT_EQ(mixed<float>({bad}, interleaved), (std::vector<float>{0, 0, 0, 0, 0, 0.5F}));
        EXPECT_EQ(mixed<float>({bad, good}, interleaved),
                  (std::vector<float>{0.125F, 0.125F, 0.125F, 0.125F, 0.125F, 0.375F}));
        EXPECT_EQ(mixed<float>({good, bad, good, good}, interleaved)[1], 0.1875F);
    }
    EXPECT_EQ(mixed<double>({{std::nan(""), 1e300, -std::numeric_limits<double>::infinity(), 0.5}}, false),
              (std::vector<float>{0, 0, 0, 0.5F}));
}

TEST(MonoMixdown, KeepsLoudSamples) {
    EXPECT_EQ(mixed<float>({{0x1p59F, -100.0F}}, false), (std::vector<float>{0x1p59F, -100.0F}));
}

TEST(MonoMixdown, BeginsWhereItIsTold) {
    PcmBuffer buffer({16000, 2, AudioSampleType::float32, false}, 4);
    for (std::size_t frame = 0; frame < 4; ++frame) {
        buffer.floatPlane(0)[frame] = static_cast<float>(frame);
        buffer.floatPlane(1)[frame] = 1;
    }
    std::vector<float> mono(2);
    mixToMono(PcmView::of(buffer), 2, mono, MonoRule::meanOfChannels);
    EXPECT_EQ(mono, (std::vector<float>{1.5F, 2}));
}
