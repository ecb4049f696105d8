#pragma once

#include "VarnelSpeech/Diarizer/PipelineTimings.h"
#include "VarnelSpeech/Diarizer/TimedSpeakerSegment.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VarnelSpeech {

struct DiarizationResult {
    std::vector<TimedSpeakerSegment> segments;
    // In debug mode only: speaker id to the speaker's current embedding, and how long each stage took.
    std::optional<std::map<std::string, std::vector<float>>> speakerDatabase = std::nullopt;
    std::optional<PipelineTimings> timings = std::nullopt;
};

} // namespace VarnelSpeech
