#pragma once

#include "VarnelSpeech/Asr/TokenWindow.h"

#include <cstddef>
#include <vector>

namespace VarnelSpeech {

// A token of an overlap, and where it lies in its whole list.
struct IndexedToken {
    std::size_t index = 0;
    TokenWindow token;
    double start = 0; // seconds
    double end = 0;   // seconds
};

// Two tokens that are one: places in the left and in the right overlap.
struct TokenMatch {
    std::size_t left = 0;
    std::size_t right = 0;

    bool operator==(const TokenMatch&) const = default;
};

// What two overlaps have in common. Tokens match when their ids are equal and their starts differ by less than
// `tolerance` seconds. Both take time and memory of one overlap times the other.

// The longest run of neighbours that match one by one; of equally long ones the first in the left overlap, then in
// the right. Pairs ascend in both.
std::vector<TokenMatch> findBestContiguousRun(const std::vector<IndexedToken>& left,
                                              const std::vector<IndexedToken>& right, double tolerance);

// The longest common subsequence. Pairs ascend in both.
std::vector<TokenMatch> findLongestCommonSubsequence(const std::vector<IndexedToken>& left,
                                                     const std::vector<IndexedToken>& right, double tolerance);

} // namespace VarnelSpeech
