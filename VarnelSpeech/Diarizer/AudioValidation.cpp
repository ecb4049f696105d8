#include "VarnelSpeech/Diarizer/AudioValidation.h"

#include <algorithm>
#include <cmath>

namespace VarnelSpeech {

namespace {

constexpr float sampleRate = 16000.0F;
constexpr float minimumSeconds = 1.0F;
constexpr float quietLimit = 0.01F;
constexpr float minimumNorm = 0.1F;

// A 32-bit sum of squares stops growing in the first minutes of a long recording.
float rootMeanSquare(std::span<const float> samples) {
    if (samples.empty())
        return 0;
    double squares = 0;
    for (const float sample : samples)
        squares += static_cast<double>(sample) * static_cast<double>(sample);
    return static_cast<float>(std::sqrt(squares / static_cast<double>(samples.size())));
}

} // namespace

AudioValidationResult AudioValidation::validateAudio(std::span<const float> samples) const {
    AudioValidationResult result;
    result.durationSeconds = static_cast<float>(samples.size()) / sampleRate;
    if (result.durationSeconds < minimumSeconds)
        result.issues.emplace_back("Audio too short (minimum 1 second)");
    if (samples.empty())
        result.issues.emplace_back("No audio data");
    if (rootMeanSquare(samples) < quietLimit)
        result.issues.emplace_back("Audio too quiet or silent");
    result.isValid = result.issues.empty();
    return result;
}

bool AudioValidation::validateEmbedding(std::span<const float> embedding) const {
    float squares = 0;
    for (const float value : embedding) {
        if (!std::isfinite(value))
            return false;
        squares += value * value;
    }
    return std::sqrt(squares) > minimumNorm;
}

} // namespace VarnelSpeech
