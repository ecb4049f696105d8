#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

namespace VarnelSpeech {

// Values in one projection of the prediction network.
inline constexpr std::int64_t decoderHiddenSize = 640;

// Brings the prediction network's output, [1, 640, 1] or [1, 1, 640] with any strides, into the joint network's
// input `destination`, [1, 640, 1]. Throws ASRError (processingFailed) for any other shape or type, and for strides
// that lead out of the projection's memory.
void normalizeDecoderProjection(const MLMultiArray& projection, MLMultiArray& destination);

} // namespace VarnelSpeech
