#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// Why an audio file cannot be read. The text is one line of valid UTF-8, "cannot read 'NAME': not an audio file".
class AudioFileError : public std::runtime_error {
public:
    enum class Case {
        noSuchFile,       // "no such file"
        isDirectory,      // "is a directory"
        notARegularFile,  // "is not a regular file": pipes and devices are not read
        permissionDenied, // "permission denied"
        isEmpty,          // "is empty"
        notAudio,         // "not an audio file"
        isDamaged,        // "is damaged": an audio file, but its head does not make sense
        hasNoAudio,       // "has no audio": no sound track, or not one sample in it
        unknownEncoding,  // "its encoding is not supported"
        badSampleRate,    // "sample rate 0 Hz"
        badChannelCount,  // "65535 channels"
        readFailed,       // the system's own text
        stopped,          // "stopped"
    };

    // `detail` is the text after the name where the case has no fixed one.
    AudioFileError(Case error, const std::filesystem::path& file, const std::string& detail = {});

    Case error() const { return error_; }

private:
    Case error_;
};

} // namespace VarnelSpeech
