#include "VarnelSpeech/Asr/TokenAlignment.h"

#include <algorithm>
#include <cmath>

namespace VarnelSpeech {

namespace {

bool matches(const IndexedToken& left, const IndexedToken& right, double tolerance) {
    return left.token.token == right.token.token && std::abs(left.start - right.start) < tolerance;
}

} // namespace

std::vector<TokenMatch> findBestContiguousRun(const std::vector<IndexedToken>& left,
                                              const std::vector<IndexedToken>& right, double tolerance) {
    // lengths[j]: how long the run from (i, j) on is. From the last i to the first, and within one i from the first
    // j to the last, so that lengths[j + 1] still is that of i + 1 when it is needed.
    std::vector<std::size_t> lengths(right.size() + 1, 0);
    TokenMatch best;
    std::size_t bestLength = 0;
    for (std::size_t i = left.size(); i-- > 0;) {
        TokenMatch bestHere{i, 0};
        std::size_t bestLengthHere = 0;
        for (std::size_t j = 0; j < right.size(); ++j) {
            lengths[j] = matches(left[i], right[j], tolerance) ? lengths[j + 1] + 1 : 0;
            if (lengths[j] > bestLengthHere) {
                bestLengthHere = lengths[j];
                bestHere.right = j;
            }
        }
        // An earlier start wins over a later one of the same length.
        if (bestLengthHere >= bestLength) {
            bestLength = bestLengthHere;
            best = bestHere;
        }
    }
    std::vector<TokenMatch> run(bestLength);
    for (std::size_t k = 0; k < bestLength; ++k) {
        run[k] = {best.left + k, best.right + k};
    }
    return run;
}

std::vector<TokenMatch> findLongestCommonSubsequence(const std::vector<IndexedToken>& left,
                                                     const std::vector<IndexedToken>& right, double tolerance) {
    const std::size_t columns = right.size() + 1;
    std::vector<int> table((left.size() + 1) * columns, 0);
    const auto cell = [&](std::size_t i, std::size_t j) -> int& { return table[i * columns + j]; };
    for (std::size_t i = 1; i <= left.size(); ++i) {
        for (std::size_t j = 1; j <= right.size(); ++j) {
            cell(i, j) = matches(left[i - 1], right[j - 1], tolerance) ? cell(i - 1, j - 1) + 1
                                                                       : std::max(cell(i - 1, j), cell(i, j - 1));
        }
    }

    std::vector<TokenMatch> pairs;
    std::size_t i = left.size();
    std::size_t j = right.size();
    while (i > 0 && j > 0) {
        if (matches(left[i - 1], right[j - 1], tolerance)) {
            pairs.push_back({--i, --j});
        } else if (cell(i - 1, j) > cell(i, j - 1)) {
            --i;
        } else {
            --j;
        }
    }
    std::reverse(pairs.begin(), pairs.end());
    return pairs;
}

} // namespace VarnelSpeech
