#pragma once

#include "VarnelSpeech/Shared/AudioFormat.h"
#include "VarnelSpeech/Shared/PcmBuffer.h"

#include <cstddef>
#include <span>

namespace VarnelSpeech {

// Frames of audio that lie elsewhere, laid out as in PcmBuffer.
struct PcmView {
    AudioFormat format;
    std::size_t frames = 0;
    const std::byte* data = nullptr; // aligned for the sample type
    std::size_t planeStride = 0;     // bytes from one plane to the next; unused for interleaved audio

    static PcmView of(const PcmBuffer& buffer) {
        return {buffer.format(), buffer.frameLength(), buffer.bytes().data(),
                buffer.bytes().size() / buffer.planeCount()};
    }

    // Interleaved 32-bit floats, whole frames.
    static PcmView of(std::span<const float> samples, double sampleRate, std::uint32_t channels) {
        return {{sampleRate, channels, AudioSampleType::float32, true},
                samples.size() / channels,
                reinterpret_cast<const std::byte*>(samples.data()),
                0};
    }
};

} // namespace VarnelSpeech
