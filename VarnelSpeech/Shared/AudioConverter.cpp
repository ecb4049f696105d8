#include "VarnelSpeech/Shared/AudioConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "VarnelSpeech/Shared/AudioFile.h"
#include "VarnelSpeech/Shared/AudioFileError.h"
#include "VarnelSpeech/Shared/ManualConverter.h"
#include "VarnelSpeech/Shared/MonoMixdown.h"
#include "VarnelSpeech/Shared/PlatformConverter.h"
#include "VarnelSpeech/Shared/PrintableText.h"
#include "VarnelSpeech/Shared/SampleCollector.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace VarnelSpeech {

namespace {

constexpr std::size_t drainFrames = 4096;
constexpr std::uint32_t platformChannels = 2; // more take the manual path
// Heads of compressed files count what the encoder put before and after the sound, which decoding leaves out.
constexpr std::uint64_t codecPaddingFrames = 4096;

double estimatedFrames(double frames, const AudioFormat& source, const AudioFormat& destination) {
    return std::ceil(frames * destination.sampleRate / source.sampleRate);
}

void appendManually(ManualConverter& converter, const PcmView& source, SampleCollector& result) {
    std::array<float, drainFrames> mono{};
    for (std::size_t frame = 0; frame < source.frames; frame += mono.size()) {
        const auto piece = std::span(mono).first(std::min(mono.size(), source.frames - frame));
        mixToMono(source, frame, piece, MonoRule::meanOfChannels);
        converter.append(piece, result);
    }
}

// One hand-over of the whole buffer into an output of the estimated size, then a drain in blocks.
std::vector<float> convert(const PcmView& source, const AudioFormat& destination) {
    PlatformConverter converter(source.format, destination);
    const double estimated = estimatedFrames(static_cast<double>(source.frames), source.format, destination);
    if (estimated > std::numeric_limits<std::uint32_t>::max())
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);

    const auto handOver = [&source, isHandedOver = false]() mutable -> PlatformConverter::Input {
        if (std::exchange(isHandedOver, true))
            return {PlatformConverter::Status::endOfStream, {}};
        return {PlatformConverter::Status::haveData, source};
    };
    const PlatformConverter::InputBlock nextInput = handOver;

    std::vector<float> result(static_cast<std::size_t>(estimated));
    PlatformConverter::Output output = converter.convert(result, nextInput);
    result.resize(output.frames);
    std::array<float, drainFrames> block{};
    while (output.status != PlatformConverter::Status::endOfStream) {
        output = converter.convert(block, nextInput);
        result.insert(result.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(output.frames));
    }
    return result;
}

std::vector<float> convertManually(const PcmView& source, const AudioFormat& destination) {
    const double estimated = estimatedFrames(static_cast<double>(source.frames), source.format, destination);
    if (source.format.sampleType != AudioSampleType::float32 || estimated > std::numeric_limits<std::uint32_t>::max())
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);
    ManualConverter converter(source.format.sampleRate, destination.sampleRate);
    SampleCollector result(static_cast<std::size_t>(estimated));
    appendManually(converter, source, result);
    converter.finish(result);
    return result.take();
}

// Reads a file block by block and reports how far it is.
class FileBlocks {
public:
    FileBlocks(AudioFile& file, const AudioConverter::Progress& progress)
        : file_(file), progress_(progress), samples_(blockFrames(file.format()) * file.format().channels) {}

    // The next block, empty at the end.
    PcmView next() {
        const AudioFormat& format = file_.format();
        const std::size_t frames = file_.read(samples_);
        frames_ += frames;
        if (progress_)
            progress_(frames == 0 ? 1.0 : file_.share());
        return PcmView::of(std::span<const float>(samples_).first(frames * format.channels), format.sampleRate,
                           format.channels);
    }

    std::uint64_t frames() const { return frames_; }

private:
    // 64 KiB: large enough that calls don't count, small enough for the processor's cache.
    static std::size_t blockFrames(const AudioFormat& format) {
        return std::max<std::size_t>(1, (std::size_t{64} << 10U) / (format.channels * sizeof(float)));
    }

    AudioFile& file_;
    const AudioConverter::Progress& progress_;
    std::vector<float> samples_;
    std::uint64_t frames_ = 0;
};

void convertFile(FileBlocks& blocks, const AudioFormat& source, const AudioFormat& destination,
                 SampleCollector& result) {
    PlatformConverter converter(source, destination);
    const PlatformConverter::InputBlock nextInput = [&blocks]() -> PlatformConverter::Input {
        const PcmView block = blocks.next();
        return {block.frames > 0 ? PlatformConverter::Status::haveData : PlatformConverter::Status::endOfStream, block};
    };
    std::array<float, drainFrames> output{};
    PlatformConverter::Output written{PlatformConverter::Status::haveData, 0};
    while (written.status != PlatformConverter::Status::endOfStream) {
        written = converter.convert(output, nextInput);
        result.append(std::span(output).first(written.frames));
    }
}

void convertFileManually(FileBlocks& blocks, const AudioFormat& source, const AudioFormat& destination,
                         SampleCollector& result) {
    ManualConverter converter(source.sampleRate, destination.sampleRate);
    for (PcmView block = blocks.next(); block.frames > 0; block = blocks.next())
        appendManually(converter, block, result);
    converter.finish(result);
}

std::string earlyEndText(const std::filesystem::path& file, const AudioFormat& format, std::uint64_t promised,
                         std::uint64_t read) {
    const auto seconds = [&format](std::uint64_t frames) { return static_cast<double>(frames) / format.sampleRate; };
    return fmt::format("'{}' ends early: expected {} frames ({:.1f} s), read {} ({:.1f} s)", printable(file.string()),
                       promised, seconds(promised), read, seconds(read));
}

} // namespace

AudioConverter::AudioConverter(AudioFormat targetFormat, bool debug)
    : logger_("AudioConverter"), targetFormat_(targetFormat), debug_(debug) {}

std::vector<float> AudioConverter::resampleAudioFile(const std::filesystem::path& path, const Progress& progress,
                                                     const std::stop_token& stop) const {
    AudioFile file(path, stop);
    const AudioFormat& source = file.format();
    FileBlocks blocks(file, progress);
    const double estimated = estimatedFrames(static_cast<double>(file.expectedFrames()), source, targetFormat_);
    const bool isManual = source.channels > platformChannels;
    // One channel is the same, interleaved or not.
    const bool isInTargetForm = source.channels == 1 && isTargetFormat({source.sampleRate});
    try {
        SampleCollector result(static_cast<std::size_t>(std::clamp(estimated, 0.0, 0x1p40)));
        if (isManual)
            convertFileManually(blocks, source, targetFormat_, result);
        else
            convertFile(blocks, source, targetFormat_, result);
        if (blocks.frames() == 0)
            throw AudioFileError(AudioFileError::Case::hasNoAudio, path);
        if (file.promisedFrames() > blocks.frames() + codecPaddingFrames)
            logger_.warning(earlyEndText(path, source, file.promisedFrames(), blocks.frames()));
        if (!isInTargetForm)
            logConversion(source, blocks.frames(), result.size());
        return result.take();
    } catch (const std::bad_alloc&) {
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);
    }
}

std::vector<float> AudioConverter::resampleBuffer(const PcmBuffer& buffer) const {
    const PcmView source = PcmView::of(buffer);
    try {
        const bool isManual = source.format.channels > platformChannels;
        std::vector<float> result = isManual ? convertManually(source, targetFormat_) : convert(source, targetFormat_);
        logConversion(source.format, source.frames, result.size());
        return result;
    } catch (const std::bad_alloc&) {
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);
    }
}

void AudioConverter::logConversion(const AudioFormat& source, std::uint64_t inputFrames,
                                   std::size_t outputFrames) const {
    if (!debug_)
        return;
    if (source.channels <= platformChannels)
        logger_.debug(fmt::format("Audio conversion: {} samples → {} samples, ratio: {}", inputFrames, outputFrames,
                                  static_cast<double>(outputFrames) / static_cast<double>(inputFrames)));
    else if (source.sampleRate != targetFormat_.sampleRate)
        logger_.debug(fmt::format("Manual resampling: {} channels → mono, {}Hz → {}Hz", source.channels,
                                  source.sampleRate, targetFormat_.sampleRate));
}

std::vector<float> AudioConverter::resampleSampleBuffer(const SampleBuffer& sampleBuffer) const {
    return resampleBuffer(pcmBuffer(sampleBuffer));
}

PcmBuffer AudioConverter::pcmBuffer(const SampleBuffer& sampleBuffer) {
    if (!sampleBuffer.streamDescription)
        throw AudioConverterError(AudioConverterError::Case::sampleBufferFormatMissing);
    if (!isValid(*sampleBuffer.streamDescription))
        throw AudioConverterError(AudioConverterError::Case::failedToCreateSourceFormat);
    PcmBuffer buffer(*sampleBuffer.streamDescription, sampleBuffer.sampleCount);
    if (sampleBuffer.sampleCount == 0)
        return buffer;
    if (sampleBuffer.copyStatus != 0)
        throw AudioConverterError::sampleBufferCopyFailed(sampleBuffer.copyStatus);
    if (sampleBuffer.bytes.size() < buffer.bytes().size())
        throw AudioConverterError::sampleBufferCopyFailed(SampleBuffer::tooFewBytes);
    std::memcpy(buffer.bytes().data(), sampleBuffer.bytes.data(), buffer.bytes().size());
    return buffer;
}

bool AudioConverter::isTargetFormat(const AudioFormat& format) const {
    return format == targetFormat_;
}

std::vector<float> AudioConverter::extractFloatArray(const PcmBuffer& buffer) {
    const std::span<const float> samples = buffer.floatPlane(0);
    const std::size_t step = buffer.format().interleaved ? buffer.format().channels : 1;
    std::vector<float> result;
    result.reserve(samples.size() / step);
    for (std::size_t index = 0; index < samples.size(); index += step)
        result.push_back(samples[index]);
    return result;
}

} // namespace VarnelSpeech
