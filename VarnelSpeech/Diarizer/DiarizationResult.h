#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VarnelSpeech {

// A stretch of one speaker's speech.
struct TimedSpeakerSegment {
    std::string id;               // a fresh UUID
    std::string speakerId;        // of the speaker database: decimal digits such as "1"
    std::vector<float> embedding; // 256 values, raw (not normalised), of the chunk the segment lies in
    float startTimeSeconds = 0;
    float endTimeSeconds = 0;
    float qualityScore = 0;
};

struct DiarizationResult {
    std::vector<TimedSpeakerSegment> segments;
    std::optional<std::map<std::string, std::vector<float>>> speakerDatabase;
};

} // namespace VarnelSpeech
