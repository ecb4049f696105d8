#pragma once

namespace VarnelSpeech {

// When a segment belongs to a speaker, and when the speaker learns from it. Distances are cosine distances, durations
// seconds.
struct AssignmentConfig {
    float maxDistanceForAssignment = 0.65F;
    float maxDistanceForUpdate = 0.45F;
    float minSpeakerDuration = 4.0F;
    float minSegmentDuration = 1.0F;

    static constexpr AssignmentConfig standard() { return {}; }

    static constexpr AssignmentConfig strict() { return {0.55F, 0.45F, 4.0F, 1.0F}; }

    bool operator==(const AssignmentConfig&) const = default;
};

} // namespace VarnelSpeech
