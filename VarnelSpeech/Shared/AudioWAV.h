#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace VarnelSpeech::AudioWAV {

// The bytes of a WAV file: one channel, 16-bit integers. Samples are limited to -1..1 and scaled by 32767, towards 0;
// NaN becomes 0. Throws AudioConverterError (failedToCreateBuffer) for more samples than a WAV file can hold (its sizes
// have 32 bits) and for a rate that is not 1 to 2,147,483,647 Hz.
std::vector<std::byte> data(std::span<const float> samples, double sampleRate);

} // namespace VarnelSpeech::AudioWAV
