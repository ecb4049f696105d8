#pragma once

#include <functional>
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
    float qualityScore = 0; // can exceed 1 for a speaker with several segments in a chunk

    bool operator==(const TimedSpeakerSegment&) const = default;
};

} // namespace VarnelSpeech

template <>
struct std::hash<VarnelSpeech::TimedSpeakerSegment> {
    std::size_t operator()(const VarnelSpeech::TimedSpeakerSegment& segment) const noexcept {
        return std::hash<std::string>{}(segment.id);
    }
};
