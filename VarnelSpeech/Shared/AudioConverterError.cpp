#include "VarnelSpeech/Shared/AudioConverterError.h"

#include <fmt/format.h>

namespace VarnelSpeech {

namespace {

std::string text(AudioConverterError::Case error) {
    switch (error) {
    case AudioConverterError::Case::conversionFailed:
        return "Audio conversion failed: Unknown error";
    case AudioConverterError::Case::sampleBufferCopyFailed:
        return "Failed to copy samples from CMSampleBuffer (status: 0)";
    case AudioConverterError::Case::failedToCreateConverter:
        return "Failed to create audio converter";
    case AudioConverterError::Case::failedToCreateBuffer:
        return "Failed to create conversion buffer";
    case AudioConverterError::Case::sampleBufferFormatMissing:
        return "Sample buffer is missing a valid audio format description.";
    case AudioConverterError::Case::failedToCreateSourceFormat:
        return "Failed to create a source audio format description for CMSampleBuffer.";
    }
    return {};
}

} // namespace

AudioConverterError::AudioConverterError(Case error) : AudioConverterError(error, text(error), 0) {}

AudioConverterError::AudioConverterError(Case error, const std::string& text, std::int32_t status)
    : std::runtime_error(text), error_(error), status_(status) {}

AudioConverterError AudioConverterError::conversionFailed(const std::string& reason) {
    return {Case::conversionFailed, "Audio conversion failed: " + reason, 0};
}

AudioConverterError AudioConverterError::sampleBufferCopyFailed(std::int32_t status) {
    return {Case::sampleBufferCopyFailed,
            fmt::format("Failed to copy samples from CMSampleBuffer (status: {})", status), status};
}

} // namespace VarnelSpeech
