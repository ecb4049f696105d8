#include "VarnelSpeech/Asr/ASRError.h"

namespace VarnelSpeech {

namespace {

std::string text(ASRError::Case error, const std::string& detail) {
    switch (error) {
    case ASRError::Case::processingFailed:
        return "ASR processing failed: " + detail;
    case ASRError::Case::unsupportedPlatform:
        return detail;
    case ASRError::Case::notInitialized:
        return "AsrManager not initialized. Call initialize() first.";
    case ASRError::Case::invalidAudioData:
        return "Invalid audio data provided. Must be at least 1 second of 16kHz audio.";
    case ASRError::Case::modelLoadFailed:
        return "Failed to load Parakeet CoreML models.";
    case ASRError::Case::modelCompilationFailed:
        return "CoreML model compilation failed after recovery attempts.";
    case ASRError::Case::stateAllocationFailed:
        return "Failed to allocate decoder state: " + detail;
    }
    return detail;
}

} // namespace

ASRError::ASRError(Case error, const std::string& detail) : std::runtime_error(text(error, detail)), error_(error) {}

} // namespace VarnelSpeech
