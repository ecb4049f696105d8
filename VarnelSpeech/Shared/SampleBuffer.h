#pragma once

#include "VarnelSpeech/Shared/AudioFormat.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace VarnelSpeech {

// Audio as a capture system delivers it: bytes that are what the description says, if there is one. Planes lie one
// behind the other.
struct SampleBuffer {
    // The status of a copy for which the buffer holds too few bytes.
    static constexpr std::int32_t tooFewBytes = -1;

    std::optional<AudioFormat> streamDescription;
    std::size_t sampleCount = 0; // frames
    std::vector<std::byte> bytes;
    std::int32_t copyStatus = 0; // anything but 0: the capture system could not hand over the bytes
};

} // namespace VarnelSpeech
