#pragma once

#include "VarnelSpeech/Shared/MonoMixdown.h"
#include "VarnelSpeech/Shared/PcmView.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>

namespace VarnelSpeech {

// The sample rate converter for mono and stereo: one channel of 32-bit floats out of a stream of buffers that it asks
// for. The output does not depend on how the input is cut into buffers, nor on the sizes of the outputs asked for.
// For one stream, used from one thread at a time.
class PlatformConverter {
public:
    enum class Status { haveData, endOfStream };

    // What the input block answers: a buffer in the source format, which must stay until the block is asked again, or
    // the stream's end.
    struct Input {
        Status status = Status::endOfStream;
        PcmView buffer;
    };

    using InputBlock = std::function<Input()>;

    struct Output {
        Status status = Status::endOfStream;
        std::size_t frames = 0; // written; less than asked for only at the stream's end
    };

    // Throws AudioConverterError (failedToCreateConverter) for formats that it does not convert between.
    PlatformConverter(const AudioFormat& source, const AudioFormat& destination);
    ~PlatformConverter();
    PlatformConverter(const PlatformConverter&) = delete;
    PlatformConverter& operator=(const PlatformConverter&) = delete;

    // Fills `output`, asking for input when it needs some. Throws AudioConverterError (conversionFailed) and whatever
    // the input block throws.
    Output convert(std::span<float> output, const InputBlock& nextInput);

private:
    struct Resampler;

    bool provideMono(const InputBlock& nextInput);
    std::size_t resample(std::span<float> output);

    MonoRule rule_;
    std::unique_ptr<Resampler> resampler_; // none when the rates are equal

    Input input_;
    std::size_t nextFrame_ = 0; // of input_, to be mixed
    bool inputEnded_ = false;
    std::array<float, 4096> mono_{}; // mixed and not yet taken: [monoBegin_, monoEnd_)
    std::size_t monoBegin_ = 0;
    std::size_t monoEnd_ = 0;
};

} // namespace VarnelSpeech
