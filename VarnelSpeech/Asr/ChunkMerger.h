#pragma once

#include "VarnelSpeech/Asr/TokenAlignment.h"
#include "VarnelSpeech/Asr/TokenTimeline.h"
#include "VarnelSpeech/Asr/TokenWindow.h"

#include <cstddef>
#include <vector>

namespace VarnelSpeech {

// Joins the tokens of overlapping windows, one window after the other, so that an overlap neither loses nor doubles
// words. Each window costs only what it overlaps with, however long the recording has become.
class ChunkMerger {
public:
    ChunkMerger(double overlapSeconds, int sampleRate);

    // Merges what there is, the left list, with the next window's tokens. The left copy of a token heard twice stays.
    void mergeChunks(const std::vector<TokenWindow>& right);

    // Merged so far, nearly in order of time.
    const std::vector<TokenWindow>& tokens() const { return merged_.tokens(); }

    // In order of time.
    const std::vector<TokenWindow>& sortedTokens();

private:
    double start(int timestamp) const { return timestamp * frameDuration_; }

    double end(int timestamp) const { return start(timestamp) + frameDuration_; }

    IndexedToken indexed(const std::vector<TokenWindow>& tokens, std::size_t index) const;

    std::vector<IndexedToken> overlapLeft(double rightStart) const;
    std::vector<IndexedToken> overlapRight(const std::vector<TokenWindow>& right, double leftEnd) const;
    void mergeUsingMatches(const std::vector<TokenMatch>& matches, const std::vector<IndexedToken>& overlapLeft,
                           const std::vector<IndexedToken>& overlapRight, const std::vector<TokenWindow>& right);
    void mergeByMidpoint(const std::vector<TokenWindow>& right, double leftEnd, double rightStart);

    double overlapSeconds_;
    double frameDuration_; // seconds
    TokenTimeline merged_;
};

} // namespace VarnelSpeech
