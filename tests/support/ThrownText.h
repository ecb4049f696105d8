#pragma once

#include "VarnelSpeech/Asr/ASRError.h"

#include <string>

namespace VarnelSpeech::Testing {

// The text of the ASRError that an operation ends with; a note if it ends with none.
template <typename Operation>
std::string thrownText(Operation operation) {
    try {
        operation();
    } catch (const ASRError& error) {
        return error.what();
    }
    return "(no error)";
}

inline std::string processingFailed(const std::string& detail) {
    return "ASR processing failed: " + detail;
}

} // namespace VarnelSpeech::Testing
