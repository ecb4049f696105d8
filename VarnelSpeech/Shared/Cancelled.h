#pragma once

#include <stdexcept>

namespace VarnelSpeech {

// Ends a transcription or a diarization that its caller has asked to stop.
class Cancelled : public std::runtime_error {
public:
    Cancelled() : std::runtime_error("The transcription was cancelled.") {}
};

} // namespace VarnelSpeech
