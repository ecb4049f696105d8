#pragma once

#include "VarnelSpeech/Asr/ASRResult.h"

#include <chrono>
#include <string>
#include <vector>

namespace VarnelSpeech {

// What one window of a stream was heard to say.
struct StreamingTranscriptionUpdate {
    std::string text;         // of this window alone; UTF-8
    bool isConfirmed = false; // confident, and enough audio heard; else it may still change
    float confidence = 0;     // 0.1 to 1
    std::chrono::system_clock::time_point timestamp;
    std::vector<int> tokenIds;
    std::vector<TokenTiming> tokenTimings; // from the stream's start; empty for a window without tokens
};

} // namespace VarnelSpeech
