#pragma once

#include <optional>
#include <string>

namespace VarnelSpeech {

struct ASRPerformanceMetrics {
    double preprocessorTime = 0;    // seconds
    double encoderTime = 0;         // seconds
    double decoderTime = 0;         // seconds
    double totalProcessingTime = 0; // seconds
    float rtfx = 0;                 // seconds of audio per second of processing
    float peakMemoryMB = 0;
    std::optional<float> gpuUtilization; // percent

    // Several lines of text for people.
    std::string description() const;

    // JSON with the fields' names as keys; an absent utilisation has no key.
    std::string toJson() const;
    // Throws std::invalid_argument for text that is not such an object.
    static ASRPerformanceMetrics fromJson(const std::string& json);

    bool operator==(const ASRPerformanceMetrics&) const = default;
};

} // namespace VarnelSpeech
