#pragma once

#include "VarnelSpeech/Asr/ASRResult.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// What can go wrong in a stream. `start` and `finish` throw it; within the stream it is logged and recovered from.
class StreamingAsrError : public std::runtime_error {
public:
    enum class Case {
        streamAlreadyExists,         // for that source
        audioBufferProcessingFailed, // one buffer is lost
        audioConversionFailed,
        modelProcessingFailed, // one window is lost
        invalidConfiguration,
        modelsNotLoaded,
        bufferOverflow,
    };

    // A case whose text has no variable part.
    explicit StreamingAsrError(Case error);
    static StreamingAsrError streamAlreadyExists(AudioSource source);
    static StreamingAsrError audioBufferProcessingFailed(const std::exception& error);
    static StreamingAsrError audioConversionFailed(const std::exception& error);
    static StreamingAsrError modelProcessingFailed(const std::exception& error);
    static StreamingAsrError invalidConfiguration(const std::string& detail);

    Case error() const { return error_; }

private:
    StreamingAsrError(Case error, const std::string& text);

    Case error_;
};

// "microphone", "system"
std::string_view name(AudioSource source);

} // namespace VarnelSpeech
