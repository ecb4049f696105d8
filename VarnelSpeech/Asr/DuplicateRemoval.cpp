#include "VarnelSpeech/Asr/DuplicateRemoval.h"

#include "VarnelSpeech/Asr/ASRConfig.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <span>

namespace VarnelSpeech {

namespace {

constexpr std::size_t searchedPrevious = 15; // tokens at the end of `previous`
constexpr std::size_t shortestOverlap = 2;   // a single equal token is no sign of repetition

using Tokens = std::span<const int>;

bool equal(Tokens first, Tokens second) {
    return std::equal(first.begin(), first.end(), second.begin(), second.end());
}

bool repeatsPunctuation(Tokens previous, Tokens current) {
    if (previous.empty() || current.empty() || previous.back() != current.front()) {
        return false;
    }
    const auto& ids = ASRConstants::punctuationTokens;
    return std::find(ids.begin(), ids.end(), current.front()) != ids.end();
}

std::size_t notNegative(int value) {
    return static_cast<std::size_t>(std::max(value, 0));
}

// How many leading tokens of `current` are the end of `previous`; 0 for none.
std::size_t exactOverlap(Tokens previous, Tokens current, std::size_t limit, const AppLogger& logger) {
    for (std::size_t length = limit; length >= shortestOverlap; --length) {
        const Tokens overlap = current.first(length);
        if (equal(previous.last(length), overlap)) {
            logger.debug(fmt::format("Found exact suffix-prefix overlap of length {}: {}", length, overlap));
            return length;
        }
    }
    return 0;
}

// How many leading tokens of `current` end with a sequence out of the end of `previous`; 0 for none.
std::size_t boundaryOverlap(Tokens previous, Tokens current, std::size_t limit, int boundarySearch,
                            const AppLogger& logger) {
    const Tokens searched = previous.last(std::min(previous.size(), searchedPrevious));
    for (std::size_t length = limit; length >= shortestOverlap; --length) {
        const std::size_t starts = std::min(current.size() - length + 1, notNegative(boundarySearch));
        for (std::size_t start = 0; start + length <= searched.size(); ++start) {
            for (std::size_t currStart = 0; currStart < starts; ++currStart) {
                const Tokens sequence = current.subspan(currStart, length);
                if (equal(searched.subspan(start, length), sequence)) {
                    logger.debug(
                        fmt::format("Found duplicate sequence length={} at currStart={}: {} (boundarySearch={})",
                                    length, currStart, sequence, boundarySearch));
                    return currStart + length;
                }
            }
        }
    }
    return 0;
}

} // namespace

DeduplicatedTokens removeDuplicateTokenSequence(const std::vector<int>& previous, const std::vector<int>& current,
                                                int maxOverlap, int boundarySearchFrames, const AppLogger& logger) {
    const Tokens before = previous;
    Tokens rest = current;
    if (repeatsPunctuation(before, rest)) {
        rest = rest.subspan(1);
    }
    const std::size_t searchWindow = std::min(before.size(), searchedPrevious);
    const std::size_t maxLength = std::min(rest.size(), notNegative(maxOverlap));
    if (searchWindow >= shortestOverlap && maxLength >= shortestOverlap) {
        const std::size_t limit = std::min(maxLength, searchWindow);
        std::size_t overlap = exactOverlap(before, rest, limit, logger);
        if (overlap == 0) {
            overlap = boundaryOverlap(before, rest, limit, boundarySearchFrames, logger);
        }
        rest = rest.subspan(overlap);
    }
    return {{rest.begin(), rest.end()}, static_cast<int>(current.size() - rest.size())};
}

} // namespace VarnelSpeech
