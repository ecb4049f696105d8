#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// What can go wrong in converting audio that is in memory. (Files: AudioFileError.)
class AudioConverterError : public std::runtime_error {
public:
    enum class Case {
        conversionFailed,           // the sample rate converter reported an error
        sampleBufferCopyFailed,     // a capture buffer's samples could not be copied; see status()
        failedToCreateConverter,    // no conversion between these formats
        failedToCreateBuffer,       // a format without sense, no float data, too many frames, or no memory
        sampleBufferFormatMissing,  // a capture buffer that does not say what its bytes are
        failedToCreateSourceFormat, // a capture buffer's description that makes no sense
    };

    // A case whose text has no variable part.
    explicit AudioConverterError(Case error);
    static AudioConverterError conversionFailed(const std::string& reason);
    static AudioConverterError sampleBufferCopyFailed(std::int32_t status);

    Case error() const { return error_; }

    // Of sampleBufferCopyFailed; 0 for every other case.
    std::int32_t status() const { return status_; }

private:
    AudioConverterError(Case error, const std::string& text, std::int32_t status);

    Case error_;
    std::int32_t status_ = 0;
};

} // namespace VarnelSpeech
