#pragma once

#include <cstdint>
#include <optional>

namespace VarnelSpeech {

// What a WAV or RF64 file's head says of itself, whether it makes sense or not: for messages on files that no decoder
// takes, or that end before what they promise.
struct WavHeader {
    std::uint32_t channels = 0;
    std::uint32_t sampleRate = 0; // Hz
    std::uint64_t frames = 0;     // 0: not known, as in streams, in compressed files, and after a very long head
};

// None for other files and for heads without a whole format chunk near their beginning.
std::optional<WavHeader> readWavHeader(int descriptor);

} // namespace VarnelSpeech
