#include "VarnelSpeech/Asr/StreamingAsrConfig.h"

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "VarnelSpeech/Asr/StreamingAsrError.h"

#include <fmt/format.h>

namespace VarnelSpeech {

namespace {

constexpr double longestWindowSeconds = 600.0;

// False for what is no number.
bool isWithin(double value, double lowest, double highest) {
    return value >= lowest && value <= highest;
}

void require(bool isFine, const char* name, double seconds, double lowest) {
    if (!isFine)
        throw StreamingAsrError::invalidConfiguration(
            fmt::format("{} is {}, expected {} to {} s", name, seconds, lowest, longestWindowSeconds));
}

} // namespace

void StreamingAsrConfig::validate() const {
    const double oneSample = 1.0 / ASRConfig().sampleRate;
    require(isWithin(chunkSeconds, oneSample, longestWindowSeconds), "chunkSeconds", chunkSeconds, oneSample);
    require(isWithin(leftContextSeconds, 0, longestWindowSeconds), "leftContextSeconds", leftContextSeconds, 0);
    require(isWithin(rightContextSeconds, 0, longestWindowSeconds), "rightContextSeconds", rightContextSeconds, 0);
    const double window = leftContextSeconds + chunkSeconds + rightContextSeconds;
    require(isWithin(window, oneSample, longestWindowSeconds), "a window", window, oneSample);
}

} // namespace VarnelSpeech
