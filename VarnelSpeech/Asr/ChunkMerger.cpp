#include "VarnelSpeech/Asr/ChunkMerger.h"

#include "VarnelSpeech/Asr/ASRConfig.h"

namespace VarnelSpeech {

namespace {

// Fewer tokens in an overlap cannot be aligned.
constexpr std::size_t fewestTokensToAlign = 2;

void append(TokenTimeline& timeline, const std::vector<TokenWindow>& tokens, std::size_t begin, std::size_t end) {
    for (std::size_t index = begin; index < end; ++index) {
        timeline.append(tokens[index]);
    }
}

} // namespace

ChunkMerger::ChunkMerger(double overlapSeconds, int sampleRate)
    : overlapSeconds_(overlapSeconds),
      frameDuration_(static_cast<double>(ASRConstants::samplesPerEncoderFrame) / sampleRate) {}

void ChunkMerger::mergeChunks(const std::vector<TokenWindow>& right) {
    if (merged_.empty() || right.empty()) {
        merged_.append(right);
        return;
    }
    const double leftEnd = end(merged_.tokens().back().timestamp);
    const double rightStart = start(right.front().timestamp);
    if (leftEnd <= rightStart) {
        merged_.append(right);
        return;
    }

    // Each reaches a whole overlap beyond the point where the lists meet: words may be placed differently in the two
    // windows, by up to that much.
    const std::vector<IndexedToken> leftTokens = overlapLeft(rightStart);
    const std::vector<IndexedToken> rightTokens = overlapRight(right, leftEnd);
    if (leftTokens.size() < fewestTokensToAlign || rightTokens.size() < fewestTokensToAlign) {
        mergeByMidpoint(right, leftEnd, rightStart);
        return;
    }
    const double tolerance = overlapSeconds_ * 0.5;
    std::vector<TokenMatch> matches = findBestContiguousRun(leftTokens, rightTokens, tolerance);
    if (matches.size() < leftTokens.size() / 2) {
        matches = findLongestCommonSubsequence(leftTokens, rightTokens, tolerance);
    }
    if (matches.empty()) {
        mergeByMidpoint(right, leftEnd, rightStart);
        return;
    }
    mergeUsingMatches(matches, leftTokens, rightTokens, right);
}

const std::vector<TokenWindow>& ChunkMerger::sortedTokens() {
    merged_.sort();
    return merged_.tokens();
}

IndexedToken ChunkMerger::indexed(const std::vector<TokenWindow>& tokens, std::size_t index) const {
    const int timestamp = tokens[index].timestamp;
    return {index, tokens[index], start(timestamp), end(timestamp)};
}

std::vector<IndexedToken> ChunkMerger::overlapLeft(double rightStart) const {
    const auto isInside = [&](int timestamp) { return end(timestamp) > rightStart - overlapSeconds_; };
    std::vector<IndexedToken> overlap;
    for (std::size_t index = merged_.beginOfLate(isInside); index < merged_.size(); ++index) {
        if (isInside(merged_.tokens()[index].timestamp)) {
            overlap.push_back(indexed(merged_.tokens(), index));
        }
    }
    return overlap;
}

std::vector<IndexedToken> ChunkMerger::overlapRight(const std::vector<TokenWindow>& right, double leftEnd) const {
    std::vector<IndexedToken> overlap;
    for (std::size_t index = 0; index < right.size(); ++index) {
        if (start(right[index].timestamp) < leftEnd + overlapSeconds_) {
            overlap.push_back(indexed(right, index));
        }
    }
    return overlap;
}

// The left list up to the first match, the matches with the richer of the two sides between them, and the rest of the
// right list after the last match.
void ChunkMerger::mergeUsingMatches(const std::vector<TokenMatch>& matches,
                                    const std::vector<IndexedToken>& overlapLeft,
                                    const std::vector<IndexedToken>& overlapRight,
                                    const std::vector<TokenWindow>& right) {
    const std::size_t firstLeft = overlapLeft[matches.front().left].index;
    const std::vector<TokenWindow> left = merged_.takeFrom(firstLeft);
    const auto leftIndex = [&](std::size_t match) { return overlapLeft[matches[match].left].index - firstLeft; };
    const auto rightIndex = [&](std::size_t match) { return overlapRight[matches[match].right].index; };

    for (std::size_t match = 0; match < matches.size(); ++match) {
        merged_.append(left[leftIndex(match)]);
        if (match + 1 == matches.size()) {
            break;
        }
        const std::size_t gapLeft = leftIndex(match + 1) - leftIndex(match);
        const std::size_t gapRight = rightIndex(match + 1) - rightIndex(match);
        if (gapRight > gapLeft) {
            append(merged_, right, rightIndex(match) + 1, rightIndex(match + 1));
        } else {
            append(merged_, left, leftIndex(match) + 1, leftIndex(match + 1));
        }
    }
    append(merged_, right, rightIndex(matches.size() - 1) + 1, right.size());
}

// Nothing in common: each list up to the middle between where the one ends and the other begins. A token that starts
// exactly there stays from both.
void ChunkMerger::mergeByMidpoint(const std::vector<TokenWindow>& right, double leftEnd, double rightStart) {
    const double cutoff = (leftEnd + rightStart) * 0.5;
    const auto isBehind = [&](int timestamp) { return start(timestamp) > cutoff; };
    for (const TokenWindow& token : merged_.takeFrom(merged_.beginOfLate(isBehind))) {
        if (start(token.timestamp) <= cutoff) {
            merged_.append(token);
        }
    }
    for (const TokenWindow& token : right) {
        if (start(token.timestamp) >= cutoff) {
            merged_.append(token);
        }
    }
    merged_.sort();
}

} // namespace VarnelSpeech
