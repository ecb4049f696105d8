#pragma once

#include "VarnelSpeech/Shared/AudioFormat.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stop_token>

namespace VarnelSpeech {

class AudioFileDecoder;

// An audio file, read from its beginning to its end in blocks. Of a file with several tracks the audio track that
// plays by default is read. Channels and rate stay as they are: 32-bit floats, interleaved, full scale 1.
// For one thread at a time. Failures are AudioFileError.
class AudioFile {
public:
    // A stop asked for through the token ends opening and reading with an error.
    explicit AudioFile(const std::filesystem::path& file, std::stop_token stop = {});
    ~AudioFile();
    AudioFile(AudioFile&&) noexcept;
    AudioFile& operator=(AudioFile&&) noexcept;

    // 1 to 1,024 channels, 1 kHz to 1 MHz.
    const AudioFormat& format() const { return format_; }

    // How many frames the file seems to have, 0 if unknown. A head that promises more than a file of its size can hold
    // is not believed. Reading may give more or fewer.
    std::uint64_t expectedFrames() const { return expectedFrames_; }

    // How many frames the file's head promises, whether the file can hold them or not; 0 if it does not say. Reading
    // gives fewer of a file that was cut off, and a few less of some encodings, which count their own padding.
    std::uint64_t promisedFrames() const { return promisedFrames_; }

    // Reads as many whole frames as fit and gives their number; fewer than fit only at the end, 0 after it. A file that
    // is damaged or cut off ends where nothing more can be decoded.
    std::size_t read(std::span<float> samples);

    // Share of the file that has been read, 0 to 1.
    double share() const;

private:
    class Descriptor;

    std::filesystem::path file_;
    std::stop_token stop_;
    std::unique_ptr<Descriptor> descriptor_; // outlives the decoder that reads from it
    std::unique_ptr<AudioFileDecoder> decoder_;
    AudioFormat format_;
    std::uint64_t expectedFrames_ = 0;
    std::uint64_t promisedFrames_ = 0;
};

} // namespace VarnelSpeech
