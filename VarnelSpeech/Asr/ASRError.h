#pragma once

#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// What can go wrong in recognition, apart from the runtime's own errors (MLModelError), which pass through unchanged.
class ASRError : public std::runtime_error {
public:
    enum class Case {
        processingFailed,    // "ASR processing failed: " and the detail
        unsupportedPlatform, // the detail
        notInitialized,      // no models yet
        invalidAudioData,    // shorter than a second
        modelLoadFailed,
        modelCompilationFailed,
        stateAllocationFailed, // "Failed to allocate decoder state: " and the detail
    };

    explicit ASRError(Case error, const std::string& detail = {});

    static ASRError processingFailed(const std::string& detail) { return ASRError(Case::processingFailed, detail); }

    Case error() const { return error_; }

private:
    Case error_;
};

} // namespace VarnelSpeech
