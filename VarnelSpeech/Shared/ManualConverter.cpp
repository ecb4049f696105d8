#include "VarnelSpeech/Shared/ManualConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"

#include <array>
#include <cmath>

namespace VarnelSpeech {

ManualConverter::ManualConverter(double sourceRate, double destinationRate) : ratio_(sourceRate / destinationRate) {
    if (!(std::isfinite(ratio_) && ratio_ > 0))
        throw AudioConverterError(AudioConverterError::Case::failedToCreateConverter);
}

void ManualConverter::append(std::span<const float> mono, SampleCollector& result) {
    if (mono.empty())
        return;
    if (ratio_ == 1.0) {
        result.append(mono);
        framesBefore_ += mono.size();
        outputs_ += mono.size();
        return;
    }
    std::array<float, 1024> block{};
    std::size_t filled = 0;
    const std::uint64_t framesNow = framesBefore_ + mono.size();
    for (;;) {
        const double position = ratio_ * static_cast<double>(outputs_);
        if (position >= static_cast<double>(framesNow - 1))
            break; // needs the next piece, or is due at the end
        const auto index = static_cast<std::uint64_t>(position);
        const auto fraction = static_cast<float>(position - static_cast<double>(index));
        const float here = index < framesBefore_ ? lastSample_ : mono[index - framesBefore_];
        const float next = mono[index + 1 - framesBefore_];
        block[filled++] = here * (1 - fraction) + next * fraction;
        ++outputs_;
        if (filled == block.size()) {
            result.append(block);
            filled = 0;
        }
    }
    result.append(std::span(block).first(filled));
    framesBefore_ = framesNow;
    lastSample_ = mono.back();
}

void ManualConverter::finish(SampleCollector& result) {
    const auto outputCount = static_cast<std::uint64_t>(static_cast<double>(framesBefore_) / ratio_);
    for (; outputs_ < outputCount; ++outputs_) {
        const auto index = static_cast<std::uint64_t>(ratio_ * static_cast<double>(outputs_));
        const float sample = index < framesBefore_ ? lastSample_ : 0.0F;
        result.append(std::span(&sample, 1));
    }
    // Interpolation may have gone one output further than the rounded count.
    result.truncate(outputCount);
    outputs_ = outputCount;
}

} // namespace VarnelSpeech
