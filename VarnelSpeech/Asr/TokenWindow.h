#pragma once

#include "VarnelSpeech/Asr/TdtHypothesis.h"

#include <vector>

namespace VarnelSpeech {

// One token of a chunked transcription.
struct TokenWindow {
    int token = 0;
    int timestamp = 0; // encoder frame from the beginning of the audio
    float confidence = 0;

    bool operator==(const TokenWindow&) const = default;
};

// The hypothesis's three lists as one. Throws ASRError when they differ in length.
std::vector<TokenWindow> zipTokenWindows(const TdtHypothesis& hypothesis);

} // namespace VarnelSpeech
