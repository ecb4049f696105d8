#pragma once

#include <array>
#include <vector>

namespace VarnelSpeech {

// The greedy token-and-duration decoder's settings.
struct TdtConfig {
    bool includeTokenDuration = true;             // kept in the configuration; the decoder never reads it
    int maxSymbolsPerStep = 10;                   // tokens at one frame position; extra steps of the last chunk
    std::vector<int> durationBins{0, 1, 2, 3, 4}; // bin index to frames to advance, each at least 0
    int blankId = 8192;                           // also the start symbol
    int boundarySearchFrames = 20;                // window of the search for repeated tokens between windows
    int maxTokensPerChunk = 150;
    int consecutiveBlankLimit = 5; // ends the last chunk's finalization
};

struct ASRConfig {
    int sampleRate = 16000;
    TdtConfig tdtConfig;
};

namespace ASRConstants {
inline constexpr int samplesPerEncoderFrame = 1280;
inline constexpr double secondsPerEncoderFrame = 0.08;
inline constexpr int maxModelSamples = 240000;       // the fixed model window, 15 s
inline constexpr int minimumRequiredSamples = 16000; // 1 s

// Ids of the sentence ends: no cached projection goes over a window's border after one, and a repeated one at a
// border is dropped.
inline constexpr std::array<int, 3> punctuationTokens{7883, 7952, 7948};
} // namespace ASRConstants

} // namespace VarnelSpeech
