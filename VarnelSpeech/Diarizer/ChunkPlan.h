#pragma once

#include "VarnelSpeech/Diarizer/DiarizerConfig.h"

#include <cstddef>

namespace VarnelSpeech {

// How the audio is cut, in samples.
struct ChunkPlan {
    std::size_t chunkSize = 0;
    std::size_t step = 0; // from the beginning of a chunk to that of the next; more than 0

    // Durations count in whole seconds. Throws DiarizerError processingFailed for durations and rates that make no
    // plan: not finite, no advance, or a chunk of more than an hour.
    static ChunkPlan make(const DiarizerConfig& config, int sampleRate);
};

} // namespace VarnelSpeech
