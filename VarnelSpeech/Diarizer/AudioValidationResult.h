#pragma once

#include <string>
#include <vector>

namespace VarnelSpeech {

// Whether audio is worth diarizing.
struct AudioValidationResult {
    bool isValid = false; // no issue was found
    float durationSeconds = 0;
    std::vector<std::string> issues;

    bool operator==(const AudioValidationResult&) const = default;
};

} // namespace VarnelSpeech
