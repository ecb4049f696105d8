#include "VarnelSpeech/Asr/ReferenceMerge.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace VarnelSpeech::Testing {

namespace {

constexpr double overlapSeconds = 2.0;
constexpr double frameDuration = 1280.0 / 16000.0;

struct Indexed {
    std::size_t index;
    TokenWindow token;
    double start;
    double end;
};

using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;
using Tokens = std::vector<TokenWindow>;

double startOf(const TokenWindow& token) {
    return token.timestamp * frameDuration;
}

double endOf(const TokenWindow& token) {
    return startOf(token) + frameDuration;
}

bool isMatch(const Indexed& left, const Indexed& right) {
    return left.token.token == right.token.token && std::fabs(left.start - right.start) < overlapSeconds * 0.5;
}

Pairs bestRun(const std::vector<Indexed>& left, const std::vector<Indexed>& right) {
    Pairs best;
    for (std::size_t i = 0; i < left.size(); ++i) {
        for (std::size_t j = 0; j < right.size(); ++j) {
            Pairs run;
            while (i + run.size() < left.size() && j + run.size() < right.size() &&
                   isMatch(left[i + run.size()], right[j + run.size()])) {
                run.emplace_back(i + run.size(), j + run.size());
            }
            if (run.size() > best.size()) {
                best = run;
            }
        }
    }
    return best;
}

Pairs longestSubsequence(const std::vector<Indexed>& left, const std::vector<Indexed>& right) {
    std::vector<std::vector<int>> cell(left.size() + 1, std::vector<int>(right.size() + 1, 0));
    for (std::size_t i = 1; i <= left.size(); ++i) {
        for (std::size_t j = 1; j <= right.size(); ++j) {
            if (isMatch(left[i - 1], right[j - 1])) {
                cell[i][j] = cell[i - 1][j - 1] + 1;
            } else {
                cell[i][j] = std::max(cell[i - 1][j], cell[i][j - 1]);
            }
        }
    }
    Pairs pairs;
    std::size_t i = left.size();
    std::size_t j = right.size();
    while (i > 0 && j > 0) {
        if (isMatch(left[i - 1], right[j - 1])) {
            pairs.emplace_back(i - 1, j - 1);
            i -= 1;
            j -= 1;
        } else if (cell[i - 1][j] > cell[i][j - 1]) {
            i -= 1;
        } else {
            j -= 1;
        }
    }
    std::reverse(pairs.begin(), pairs.end());
    return pairs;
}

Tokens midpoint(const Tokens& left, const Tokens& right, double leftEnd, double rightStart) {
    const double cutoff = (leftEnd + rightStart) * 0.5;
    Tokens merged;
    std::copy_if(left.begin(), left.end(), std::back_inserter(merged),
                 [&](const TokenWindow& token) { return startOf(token) <= cutoff; });
    std::copy_if(right.begin(), right.end(), std::back_inserter(merged),
                 [&](const TokenWindow& token) { return startOf(token) >= cutoff; });
    std::stable_sort(merged.begin(), merged.end(), [](const TokenWindow& first, const TokenWindow& second) {
        return first.timestamp < second.timestamp;
    });
    return merged;
}

Tokens slice(const Tokens& tokens, std::size_t begin, std::size_t end) {
    return {tokens.begin() + static_cast<std::ptrdiff_t>(begin), tokens.begin() + static_cast<std::ptrdiff_t>(end)};
}

void append(Tokens& tokens, const Tokens& more) {
    tokens.insert(tokens.end(), more.begin(), more.end());
}

} // namespace

Tokens referenceMerge(const Tokens& left, const Tokens& right) {
    if (left.empty()) {
        return right;
    }
    if (right.empty()) {
        return left;
    }
    const double leftEnd = endOf(left.back());
    const double rightStart = startOf(right.front());
    if (leftEnd <= rightStart) {
        Tokens merged = left;
        append(merged, right);
        return merged;
    }
    std::vector<Indexed> overlapLeft;
    for (std::size_t index = 0; index < left.size(); ++index) {
        if (endOf(left[index]) > rightStart - overlapSeconds) {
            overlapLeft.push_back({index, left[index], startOf(left[index]), endOf(left[index])});
        }
    }
    std::vector<Indexed> overlapRight;
    for (std::size_t index = 0; index < right.size(); ++index) {
        if (startOf(right[index]) < leftEnd + overlapSeconds) {
            overlapRight.push_back({index, right[index], startOf(right[index]), endOf(right[index])});
        }
    }
    if (overlapLeft.size() < 2 || overlapRight.size() < 2) {
        return midpoint(left, right, leftEnd, rightStart);
    }
    Pairs pairs = bestRun(overlapLeft, overlapRight);
    if (pairs.size() < overlapLeft.size() / 2) {
        pairs = longestSubsequence(overlapLeft, overlapRight);
        if (pairs.empty()) {
            return midpoint(left, right, leftEnd, rightStart);
        }
    }
    std::vector<std::size_t> leftIndices;
    std::vector<std::size_t> rightIndices;
    for (const auto& [i, j] : pairs) {
        leftIndices.push_back(overlapLeft[i].index);
        rightIndices.push_back(overlapRight[j].index);
    }
    Tokens merged;
    if (leftIndices.front() > 0) {
        append(merged, slice(left, 0, leftIndices.front()));
    }
    for (std::size_t k = 0; k < leftIndices.size(); ++k) {
        merged.push_back(left[leftIndices[k]]);
        if (k + 1 < leftIndices.size()) {
            const Tokens gapLeft = slice(left, leftIndices[k] + 1, leftIndices[k + 1]);
            const Tokens gapRight = slice(right, rightIndices[k] + 1, rightIndices[k + 1]);
            append(merged, gapRight.size() > gapLeft.size() ? gapRight : gapLeft);
        }
    }
    if (rightIndices.back() + 1 < right.size()) {
        append(merged, slice(right, rightIndices.back() + 1, right.size()));
    }
    return merged;
}

} // namespace VarnelSpeech::Testing
