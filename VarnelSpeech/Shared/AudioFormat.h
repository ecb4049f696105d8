#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace VarnelSpeech {

enum class AudioSampleType { float32, float64, int16, int32 };

// What a buffer's bytes mean.
struct AudioFormat {
    double sampleRate = 16000.0; // Hz, above 0
    std::uint32_t channels = 1;  // at least 1
    AudioSampleType sampleType = AudioSampleType::float32;
    bool interleaved = false;

    // 16 kHz, mono, 32-bit float, one plane a channel: what every speech model takes.
    static constexpr AudioFormat speech() { return {}; }

    bool operator==(const AudioFormat&) const = default;
};

std::size_t bytesPerSample(AudioSampleType type);

// A rate above 0 and at least one channel.
bool isValid(const AudioFormat& format);

// "48000 Hz, 2 channels, float32, interleaved"
std::string describe(const AudioFormat& format);

} // namespace VarnelSpeech
