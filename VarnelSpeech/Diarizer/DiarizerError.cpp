#include "VarnelSpeech/Diarizer/DiarizerError.h"

namespace VarnelSpeech {

namespace {

std::string text(DiarizerError::Case error, const std::string& detail) {
    switch (error) {
    case DiarizerError::Case::notInitialized:
        return "Diarization system not initialized. Call initialize() first.";
    case DiarizerError::Case::modelDownloadFailed:
        return "Failed to download required models.";
    case DiarizerError::Case::modelCompilationFailed:
        return "Failed to compile CoreML models.";
    case DiarizerError::Case::embeddingExtractionFailed:
        return "Failed to extract speaker embedding from audio.";
    case DiarizerError::Case::invalidAudioData:
        return "Invalid audio data provided.";
    case DiarizerError::Case::memoryAllocationFailed:
        return "Failed to allocate ANE-aligned memory.";
    case DiarizerError::Case::invalidArrayBounds:
        return "Array bounds exceeded for zero-copy view.";
    case DiarizerError::Case::processingFailed:
        break;
    }
    return "Processing failed: " + detail;
}

} // namespace

DiarizerError::DiarizerError(Case error, const std::string& detail)
    : std::runtime_error(text(error, detail)), error_(error) {}

} // namespace VarnelSpeech
