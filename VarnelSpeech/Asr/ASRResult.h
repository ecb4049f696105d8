#pragma once

#include "VarnelSpeech/Shared/ASRPerformanceMetrics.h"

#include <optional>
#include <string>
#include <vector>

namespace VarnelSpeech {

enum class AudioSource { microphone, system };

// When one token was said. Seconds from the beginning of the audio.
struct TokenTiming {
    std::string token; // word-initial tokens keep a leading blank
    int tokenId = 0;
    double startTime = 0;
    double endTime = 0;
    float confidence = 0; // 0 to 1

    bool operator==(const TokenTiming&) const = default;
};

struct ASRResult {
    std::string text;          // UTF-8
    float confidence = 0;      // 0.1 to 1
    double duration = 0;       // of the audio, seconds
    double processingTime = 0; // seconds
    std::optional<std::vector<TokenTiming>> tokenTimings;
    std::optional<ASRPerformanceMetrics> performanceMetrics;

    // JSON with the fields' names as keys; absent optionals have no key.
    std::string toJson() const;
    // Throws std::invalid_argument for text that is not such an object.
    static ASRResult fromJson(const std::string& json);
};

} // namespace VarnelSpeech
