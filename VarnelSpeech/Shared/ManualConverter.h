#pragma once

#include "VarnelSpeech/Shared/SampleCollector.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace VarnelSpeech {

// Linear resampling of a mono stream. Output i is read at position ratio · i of the input, ratio being source rate /
// destination rate; there are trunc(input frames / ratio) outputs. The output does not depend on how the input is cut
// into pieces.
class ManualConverter {
public:
    // Throws AudioConverterError (failedToCreateConverter) for rates that are not above 0.
    ManualConverter(double sourceRate, double destinationRate);

    void append(std::span<const float> mono, SampleCollector& result);

    // The stream's end: what is due at its last frame.
    void finish(SampleCollector& result);

private:
    double ratio_;
    std::uint64_t framesBefore_ = 0; // input frames of the pieces so far
    std::uint64_t outputs_ = 0;
    float lastSample_ = 0; // of the pieces so far
};

} // namespace VarnelSpeech
