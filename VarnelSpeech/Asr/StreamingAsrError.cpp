#include "VarnelSpeech/Asr/StreamingAsrError.h"

namespace VarnelSpeech {

namespace {

std::string text(StreamingAsrError::Case error) {
    switch (error) {
    case StreamingAsrError::Case::streamAlreadyExists:
        return "A stream already exists for source: ";
    case StreamingAsrError::Case::audioBufferProcessingFailed:
        return "Audio buffer processing failed: ";
    case StreamingAsrError::Case::audioConversionFailed:
        return "Audio conversion failed: ";
    case StreamingAsrError::Case::modelProcessingFailed:
        return "Model processing failed: ";
    case StreamingAsrError::Case::invalidConfiguration:
        return "Invalid configuration: ";
    case StreamingAsrError::Case::modelsNotLoaded:
        return "ASR models have not been loaded";
    case StreamingAsrError::Case::bufferOverflow:
        return "Audio buffer overflow occurred";
    }
    return {};
}

} // namespace

StreamingAsrError::StreamingAsrError(Case error) : StreamingAsrError(error, text(error)) {}

StreamingAsrError::StreamingAsrError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

StreamingAsrError StreamingAsrError::streamAlreadyExists(AudioSource source) {
    return {Case::streamAlreadyExists, text(Case::streamAlreadyExists) + std::string(name(source))};
}

StreamingAsrError StreamingAsrError::audioBufferProcessingFailed(const std::exception& error) {
    return {Case::audioBufferProcessingFailed, text(Case::audioBufferProcessingFailed) + error.what()};
}

StreamingAsrError StreamingAsrError::audioConversionFailed(const std::exception& error) {
    return {Case::audioConversionFailed, text(Case::audioConversionFailed) + error.what()};
}

StreamingAsrError StreamingAsrError::modelProcessingFailed(const std::exception& error) {
    return {Case::modelProcessingFailed, text(Case::modelProcessingFailed) + error.what()};
}

StreamingAsrError StreamingAsrError::invalidConfiguration(const std::string& detail) {
    return {Case::invalidConfiguration, text(Case::invalidConfiguration) + detail};
}

std::string_view name(AudioSource source) {
    return source == AudioSource::microphone ? "microphone" : "system";
}

} // namespace VarnelSpeech
