#include "VarnelSpeech/Shared/PlatformConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"

#include <soxr.h>

#include <algorithm>

namespace VarnelSpeech {

struct PlatformConverter::Resampler {
    soxr_t handle;

    Resampler(double sourceRate, double destinationRate) {
        const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
        const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
        soxr_error_t error = nullptr;
        handle = soxr_create(sourceRate, destinationRate, 1, &error, &samples, &quality, &oneThread);
        if (handle == nullptr || error != nullptr) {
            soxr_delete(handle);
            throw AudioConverterError(AudioConverterError::Case::failedToCreateConverter);
        }
    }

    ~Resampler() { soxr_delete(handle); }

    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;
};

PlatformConverter::PlatformConverter(const AudioFormat& source, const AudioFormat& destination)
    : rule_(destination.channels == 1 ? MonoRule::meanOfChannels : MonoRule::firstChannel) {
    if (!isValid(source) || !isValid(destination) || source.channels > 2 ||
        destination.sampleType != AudioSampleType::float32)
        throw AudioConverterError(AudioConverterError::Case::failedToCreateConverter);
    if (source.sampleRate != destination.sampleRate)
        resampler_ = std::make_unique<Resampler>(source.sampleRate, destination.sampleRate);
}

PlatformConverter::~PlatformConverter() = default;

PlatformConverter::Output PlatformConverter::convert(std::span<float> output, const InputBlock& nextInput) {
    std::size_t written = 0;
    while (written < output.size()) {
        const bool hasMono = monoBegin_ < monoEnd_ || provideMono(nextInput);
        const std::size_t frames = resample(output.subspan(written));
        written += frames;
        if (!hasMono && frames == 0)
            return {Status::endOfStream, written};
    }
    return {Status::haveData, written};
}

// Mixes the next piece of input; false at the stream's end.
bool PlatformConverter::provideMono(const InputBlock& nextInput) {
    while (!inputEnded_ && nextFrame_ == input_.buffer.frames) {
        input_ = nextInput();
        nextFrame_ = 0;
        inputEnded_ = input_.status == Status::endOfStream;
    }
    if (inputEnded_)
        return false;
    monoBegin_ = 0;
    monoEnd_ = std::min(mono_.size(), input_.buffer.frames - nextFrame_);
    mixToMono(input_.buffer, nextFrame_, std::span(mono_).first(monoEnd_), rule_);
    nextFrame_ += monoEnd_;
    return true;
}

// Takes mixed frames, or without any tells the resampler that the stream ends; gives the number of frames written.
std::size_t PlatformConverter::resample(std::span<float> output) {
    const std::size_t available = monoEnd_ - monoBegin_;
    std::size_t taken = std::min(available, output.size());
    std::size_t written = taken;
    if (resampler_) {
        const float* from = available > 0 ? mono_.data() + monoBegin_ : nullptr;
        if (soxr_error_t error =
                soxr_process(resampler_->handle, from, available, &taken, output.data(), output.size(), &written))
            throw AudioConverterError::conversionFailed(error);
    } else {
        std::copy_n(mono_.data() + monoBegin_, taken, output.data());
    }
    monoBegin_ += taken;
    return written;
}

} // namespace VarnelSpeech
