#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <vector>

namespace VarnelSpeech {

// What is left of a window's tokens without those that the windows before it gave already.
struct DeduplicatedTokens {
    std::vector<int> tokens;
    int removed = 0; // leading tokens that went
};

// Takes from the beginning of `current` what repeats the end of `previous`: a repeated sentence end, then the longest
// overlap of at least two and at most `maxOverlap` tokens; failing that, the longest sequence of the last 15 tokens
// of `previous` that starts within the first `boundarySearchFrames` of `current`, with what stands before it.
DeduplicatedTokens removeDuplicateTokenSequence(const std::vector<int>& previous, const std::vector<int>& current,
                                                int maxOverlap, int boundarySearchFrames, const AppLogger& logger);

} // namespace VarnelSpeech
