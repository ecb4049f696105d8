#pragma once

#include "VarnelSpeech/Shared/AudioFormat.h"

#include <cstddef>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Frames of audio in memory. Interleaved audio has one plane of frames · channels samples; other audio has one plane
// of `frames` samples a channel. The planes lie one behind the other.
class PcmBuffer {
public:
    // Silence. Throws AudioConverterError (failedToCreateBuffer) for a format without sense, more frames than 32 bits
    // count, or no memory.
    PcmBuffer(const AudioFormat& format, std::size_t frames);

    const AudioFormat& format() const { return format_; }

    std::size_t frameLength() const { return frames_; }

    std::size_t planeCount() const { return format_.interleaved ? 1 : format_.channels; }

    // All planes.
    std::span<std::byte> bytes() { return bytes_; }

    std::span<const std::byte> bytes() const { return bytes_; }

    // One plane's bytes; the index is below planeCount().
    std::span<const std::byte> plane(std::size_t index) const;

    // One plane's samples; empty unless they are 32-bit floats.
    std::span<float> floatPlane(std::size_t index);
    std::span<const float> floatPlane(std::size_t index) const;

private:
    AudioFormat format_;
    std::size_t frames_;
    std::vector<std::byte> bytes_;
};

} // namespace VarnelSpeech
