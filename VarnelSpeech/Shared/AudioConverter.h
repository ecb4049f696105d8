#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/AudioFormat.h"
#include "VarnelSpeech/Shared/PcmBuffer.h"
#include "VarnelSpeech/Shared/SampleBuffer.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <vector>

namespace VarnelSpeech {

// Brings any audio to one format, 16 kHz mono 32-bit float unless told otherwise. Holds no mutable state: one
// converter may be used from any thread. Failures are AudioConverterError or AudioFileError.
//
// Two channels become one by their mean, more by the mean of all; then the rate is converted. A sample that is no
// sound (NaN, infinite, or 2^60 and beyond, where full scale is 1) counts as 0, so that it does not spoil what lies
// around it. Results are 32-bit floats of one channel: of a target with more channels, the first.
class AudioConverter {
public:
    // Share of the file that has been read, 0 to 1; called on the converting thread, at most once a block. What it
    // throws ends the conversion and passes through.
    using Progress = std::function<void(double)>;

    explicit AudioConverter(AudioFormat targetFormat = AudioFormat::speech(), bool debug = false);

    // The whole file in the target format. The file is read and converted in blocks: the samples are those of a
    // conversion in one piece, and memory stays at the result plus a few blocks. What a damaged file still holds is
    // converted, and that it ended early is logged; a file with nothing in it is an error, and so is a stop
    // (AudioFileError, `stopped`).
    std::vector<float> resampleAudioFile(const std::filesystem::path& file, const Progress& progress = {},
                                         const std::stop_token& stop = {}) const;

    // One buffer in the target format. Buffers of 3 and more channels must hold 32-bit floats.
    std::vector<float> resampleBuffer(const PcmBuffer& buffer) const;

    // A buffer as the capture layer delivers it.
    std::vector<float> resampleSampleBuffer(const SampleBuffer& sampleBuffer) const;
    static PcmBuffer pcmBuffer(const SampleBuffer& sampleBuffer);

    bool isTargetFormat(const AudioFormat& format) const;

    // The samples of channel 0; empty for a buffer without float data or without frames.
    static std::vector<float> extractFloatArray(const PcmBuffer& buffer);

    const AudioFormat& targetFormat() const { return targetFormat_; }

private:
    void logConversion(const AudioFormat& source, std::uint64_t inputFrames, std::size_t outputFrames) const;

    AppLogger logger_;
    AudioFormat targetFormat_;
    bool debug_;
};

} // namespace VarnelSpeech
