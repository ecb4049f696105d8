#pragma once

#include <cstddef>
#include <string>

namespace VarnelSpeech {

// What the metrics of several transcriptions come to.
struct AggregatedMetrics {
    float averageRTFx = 0;            // seconds of audio per second of processing
    double averageProcessingTime = 0; // seconds
    float maxMemoryMB = 0;
    std::size_t sampleCount = 0; // transcriptions

    // Several lines of text for people.
    std::string description() const;

    bool operator==(const AggregatedMetrics&) const = default;
};

} // namespace VarnelSpeech
