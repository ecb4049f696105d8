#include "VarnelSpeech/Shared/AudioFormat.h"

#include <fmt/format.h>

#include <cmath>

namespace VarnelSpeech {

namespace {

const char* name(AudioSampleType type) {
    switch (type) {
    case AudioSampleType::float32:
        return "float32";
    case AudioSampleType::float64:
        return "float64";
    case AudioSampleType::int16:
        return "int16";
    case AudioSampleType::int32:
        return "int32";
    }
    return "unknown";
}

} // namespace

std::size_t bytesPerSample(AudioSampleType type) {
    switch (type) {
    case AudioSampleType::int16:
        return 2;
    case AudioSampleType::float32:
    case AudioSampleType::int32:
        return 4;
    case AudioSampleType::float64:
        break;
    }
    return 8;
}

bool isValid(const AudioFormat& format) {
    return std::isfinite(format.sampleRate) && format.sampleRate > 0 && format.channels > 0;
}

std::string describe(const AudioFormat& format) {
    return fmt::format("{} Hz, {} channel{}, {}, {}", format.sampleRate, format.channels,
                       format.channels == 1 ? "" : "s", name(format.sampleType),
                       format.interleaved ? "interleaved" : "non-interleaved");
}

} // namespace VarnelSpeech
