#pragma once

#include "VarnelSpeech/Shared/AudioFileError.h"
#include "VarnelSpeech/Shared/AudioFormat.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>
#include <string>

namespace VarnelSpeech {

// Why a decoder refuses or leaves a file; AudioFile turns it into an AudioFileError with the file's name.
struct AudioFileProblem {
    AudioFileError::Case error;
    std::string detail;
};

// Silence packs into very little: a longer promise is not believed.
inline constexpr double leastCompressedBytesPerFrame = 1.0 / 256;

// What AudioFile asks of a decoding library.
class AudioFileDecoder {
public:
    virtual ~AudioFileDecoder() = default;

    // The format of what read() gives: 32-bit floats, interleaved.
    virtual AudioFormat format() const = 0;

    // Frames that the file seems to have, 0 if unknown. May be a guess.
    virtual std::uint64_t likelyFrames() const = 0;

    // Frames that the file's head promises for this stream, whether they are there or not; 0 if it does not say.
    virtual std::uint64_t promisedFrames() const = 0;

    // The fewest bytes that a frame can take in this file's encoding.
    virtual double leastBytesPerFrame() const = 0;

    // Fills `samples` with whole frames and gives their number; 0 at the end. Throws AudioFileProblem.
    virtual std::size_t read(std::span<float> samples) = 0;

    // Share of the file that has been read, 0 to 1.
    virtual double share() const = 0;
};

// Both read from a descriptor, which stays the caller's, and throw AudioFileProblem for a file that they cannot read.
// libsndfile: WAV, RF64, FLAC, AIFF, ...
std::unique_ptr<AudioFileDecoder> openSndfileDecoder(int descriptor);
// FFmpeg: MP3, Ogg Vorbis and Opus, M4A, MP4 and other video containers, ADTS AAC, WMA, ...
std::unique_ptr<AudioFileDecoder> openFFmpegDecoder(int descriptor, std::stop_token stop);

} // namespace VarnelSpeech
