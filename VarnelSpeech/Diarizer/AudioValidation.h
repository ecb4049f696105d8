#pragma once

#include "VarnelSpeech/Diarizer/AudioValidationResult.h"

#include <span>

namespace VarnelSpeech {

// Checks for callers that want them before and after a diarization. Without state; from any thread.
struct AudioValidation {
    // 16 kHz mono samples: at least a second, and a root mean square of at least 0.01.
    AudioValidationResult validateAudio(std::span<const float> samples) const;

    // Not empty, finite throughout, and of an L2 norm above 0.1.
    bool validateEmbedding(std::span<const float> embedding) const;
};

} // namespace VarnelSpeech
