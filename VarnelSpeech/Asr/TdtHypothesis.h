#pragma once

#include "VarnelSpeech/Asr/TdtDecoderState.h"

#include <optional>
#include <vector>

namespace VarnelSpeech {

// The result of one decode call. `tokenIds`, `timestamps` and `tokenConfidences` always have the same length.
struct TdtHypothesis {
    float score = 0; // sum of the tokens' clamped probabilities
    std::vector<int> tokenIds;
    std::optional<TdtDecoderState> decoderState; // the running state
    std::vector<int> timestamps;                 // frame in the window plus the global frame offset
    std::vector<int> tokenDurations;             // stays empty: timing goes by the next token's start
    std::vector<float> tokenConfidences;         // 0 to 1
    std::optional<int> lastToken;
};

} // namespace VarnelSpeech
