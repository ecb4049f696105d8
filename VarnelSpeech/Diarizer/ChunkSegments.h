#pragma once

#include "VarnelSpeech/Diarizer/DiarizerConfig.h"
#include "VarnelSpeech/Diarizer/SpeakerActivity.h"
#include "VarnelSpeech/Diarizer/TimedSpeakerSegment.h"

#include <span>
#include <string>
#include <vector>

namespace VarnelSpeech {

// One of a chunk's local speakers.
struct LocalSpeaker {
    std::string id;               // in the database; empty: nobody known
    std::vector<float> embedding; // raw; empty: none
    float activity = 0;           // active frames of the chunk
};

// A mask for each local speaker: its active frames in which nobody else is active. `masks` is reused.
void fillCleanFrameMasks(const SpeakerActivity& activity, std::vector<std::vector<float>>& masks);

// The local speakers' stretches of speech in a chunk that begins at `chunkOffset` seconds, sorted by their start.
// Those of nobody known, and those shorter than the configuration's minSpeechDuration, are left out.
std::vector<TimedSpeakerSegment> chunkSegments(const SpeakerActivity& activity, std::span<const LocalSpeaker> speakers,
                                               double chunkOffset, const DiarizerConfig& config);

} // namespace VarnelSpeech
