#include "VarnelSpeech/Shared/MonoMixdown.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace VarnelSpeech {

namespace {

// True for NaN, for infinity and from `limit` on: as bit patterns, sign aside, these are the largest.
bool reaches(float sample, float limit) {
    return (std::bit_cast<std::uint32_t>(sample) & 0x7FFFFFFFU) >= std::bit_cast<std::uint32_t>(limit);
}

bool isNoSound(float sample) {
    return reaches(sample, 0x1p60F);
}

// A mean that is worth a look at its samples: far below the limit of one sample, as many channels make it small.
bool isSuspicious(float mean) {
    return reaches(mean, 0x1p40F);
}

float toFloat(float sample) {
    return sample;
}

float toFloat(double sample) {
    return std::abs(sample) < 0x1p60 ? static_cast<float>(sample) : 0.0F; // false for NaN
}

float toFloat(std::int16_t sample) {
    return static_cast<float>(sample) * 0x1p-15F;
}

float toFloat(std::int32_t sample) {
    return static_cast<float>(sample) * 0x1p-31F;
}

// Where the samples of a channel lie: sample(frame, channel) = base[channel * channelStep + frame * frameStep].
template <typename Sample>
struct Layout {
    const Sample* base;
    std::size_t channelStep;
    std::size_t frameStep;
    std::uint32_t channels;

    float at(std::size_t frame, std::uint32_t channel) const {
        return toFloat(base[channel * channelStep + frame * frameStep]);
    }
};

template <typename Sample>
float cleanMean(const Layout<Sample>& source, std::size_t frame, float scale) {
    float sum = 0;
    for (std::uint32_t channel = 0; channel < source.channels; ++channel) {
        const float sample = source.at(frame, channel);
        sum += isNoSound(sample) ? 0.0F : sample;
    }
    return sum * scale;
}

// What is no sound shows in the mean, so that one look at each mean is enough.
template <typename Sample>
void replaceNoSound(const Layout<Sample>& source, std::span<float> mono, float scale) {
    std::uint32_t found = 0;
    for (const float sample : mono)
        found |= static_cast<std::uint32_t>(isSuspicious(sample));
    if (found == 0)
        return;
    for (std::size_t frame = 0; frame < mono.size(); ++frame)
        if (isSuspicious(mono[frame]))
            mono[frame] = cleanMean(source, frame, scale);
}

template <typename Sample>
void mix(const Layout<Sample>& source, std::span<float> mono) {
    const float scale = 1.0F / static_cast<float>(source.channels);
    if (source.channels == 2 && source.channelStep == 1) { // the common case, in a form that compilers vectorise
        for (std::size_t frame = 0; frame < mono.size(); ++frame)
            mono[frame] = (toFloat(source.base[2 * frame]) + toFloat(source.base[2 * frame + 1])) * 0.5F;
    } else if (source.channels == 1) {
        for (std::size_t frame = 0; frame < mono.size(); ++frame)
            mono[frame] = source.at(frame, 0);
    } else {
        for (std::size_t frame = 0; frame < mono.size(); ++frame) {
            float sum = 0;
            for (std::uint32_t channel = 0; channel < source.channels; ++channel)
                sum += source.at(frame, channel);
            mono[frame] = sum * scale;
        }
    }
    replaceNoSound(source, mono, scale);
}

template <typename Sample>
void mixAs(const PcmView& source, std::size_t firstFrame, std::span<float> mono, MonoRule rule) {
    const auto* base = reinterpret_cast<const Sample*>(source.data);
    const bool interleaved = source.format.interleaved;
    const std::size_t frameStep = interleaved ? source.format.channels : 1;
    const std::size_t channelStep = interleaved ? 1 : source.planeStride / sizeof(Sample);
    const std::uint32_t channels = rule == MonoRule::firstChannel ? 1 : source.format.channels;
    mix(Layout<Sample>{base + firstFrame * frameStep, channelStep, frameStep, channels}, mono);
}

} // namespace

void mixToMono(const PcmView& source, std::size_t firstFrame, std::span<float> mono, MonoRule rule) {
    switch (source.format.sampleType) {
    case AudioSampleType::float32:
        return mixAs<float>(source, firstFrame, mono, rule);
    case AudioSampleType::float64:
        return mixAs<double>(source, firstFrame, mono, rule);
    case AudioSampleType::int16:
        return mixAs<std::int16_t>(source, firstFrame, mono, rule);
    case AudioSampleType::int32:
        return mixAs<std::int32_t>(source, firstFrame, mono, rule);
    }
}

} // namespace VarnelSpeech
