#pragma once

#include "VarnelSpeech/Diarizer/DiarizerModels.h"

#include <cstdint>

namespace VarnelSpeech {

inline constexpr std::int64_t diarizerWindowSamples = 160000; // of every call of either network: 10 s
inline constexpr std::int64_t diarizerClassCount = 7;         // of the segmentation's scores
inline constexpr std::int64_t diarizerEmbeddingSize = 256;
inline constexpr std::int64_t diarizerEmbeddingSlots = 3; // of the embedding network's batch

// Whether a window may have so many frames: at least one, and no more than it has samples.
constexpr bool isFrameCount(std::int64_t frames) {
    return frames > 0 && frames <= diarizerWindowSamples;
}

// Checks that each network declares the tensors of its role; where both fix the number of frames, it must be the
// same. Throws DiarizerError processingFailed with the bundle and the tensor.
void requireContracts(const DiarizerModels& models);

} // namespace VarnelSpeech
