#pragma once

#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// What can go wrong in diarization, apart from the runtime's own errors (MLModelError), which pass through unchanged.
class DiarizerError : public std::runtime_error {
public:
    enum class Case {
        notInitialized,      // no models yet
        modelDownloadFailed, // the set lacks a network
        modelCompilationFailed,
        embeddingExtractionFailed,
        invalidAudioData,
        memoryAllocationFailed,
        invalidArrayBounds,
        processingFailed, // "Processing failed: " and the detail
    };

    // The detail counts for processingFailed alone.
    explicit DiarizerError(Case error, const std::string& detail = {});

    static DiarizerError processingFailed(const std::string& detail) {
        return DiarizerError(Case::processingFailed, detail);
    }

    Case error() const { return error_; }

private:
    Case error_;
};

} // namespace VarnelSpeech
