#include "VarnelSpeech/Shared/AudioFileError.h"

#include "VarnelSpeech/Shared/PrintableText.h"

namespace VarnelSpeech {

namespace {

std::string text(AudioFileError::Case error, const std::string& detail) {
    switch (error) {
    case AudioFileError::Case::noSuchFile:
        return "no such file";
    case AudioFileError::Case::isDirectory:
        return "is a directory";
    case AudioFileError::Case::notARegularFile:
        return "is not a regular file";
    case AudioFileError::Case::permissionDenied:
        return "permission denied";
    case AudioFileError::Case::isEmpty:
        return "is empty";
    case AudioFileError::Case::notAudio:
        return "not an audio file";
    case AudioFileError::Case::isDamaged:
        return "is damaged";
    case AudioFileError::Case::hasNoAudio:
        return "has no audio";
    case AudioFileError::Case::unknownEncoding:
        return "its encoding is not supported";
    case AudioFileError::Case::stopped:
        return "stopped";
    case AudioFileError::Case::badSampleRate:
    case AudioFileError::Case::badChannelCount:
    case AudioFileError::Case::readFailed:
        break;
    }
    return detail;
}

} // namespace

AudioFileError::AudioFileError(Case error, const std::filesystem::path& file, const std::string& detail)
    : std::runtime_error("cannot read '" + printable(file.native()) + "': " + text(error, detail)), error_(error) {}

} // namespace VarnelSpeech
