#pragma once

#include "VarnelSpeech/Diarizer/RawEmbedding.h"

#include <optional>
#include <vector>

namespace VarnelSpeech {

struct SpeakerUpdateResult {
    std::optional<std::vector<float>> updatedMainEmbedding; // none: it stays
    std::vector<RawEmbedding> updatedRawEmbeddings;
    float updatedDuration = 0;      // seconds in total
    bool shouldRecalculate = false; // the history is long enough for its mean to be worth more than one update
};

} // namespace VarnelSpeech
