#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <exception>
#include <functional>

namespace VarnelSpeech {

// What a stream does about an error so that it can go on with the next audio. Holds no state; one thread at a time.
struct StreamingAsrRecovery {
    AppLogger logger;
    std::function<void()> resetDecoderState;
    std::function<void()> reinitialize; // when the reset fails: new models, a new manager

    // Never throws: what fails here is logged. Errors that are no StreamingAsrError reset the decoder.
    void attemptErrorRecovery(const std::exception& error) const;

private:
    void resetDecoder() const;
    void rebuild() const;
};

} // namespace VarnelSpeech
