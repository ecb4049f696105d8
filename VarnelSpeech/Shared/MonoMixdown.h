#pragma once

#include "VarnelSpeech/Shared/PcmView.h"

#include <cstddef>
#include <span>

namespace VarnelSpeech {

enum class MonoRule {
    meanOfChannels, // the plain sum of all channels, times 1 / their number, in 32-bit floats
    firstChannel,
};

// Writes mono.size() frames of `source` from `firstFrame` on, as 32-bit floats; integers are scaled to -1..1.
// Samples that are not finite, or 2^60 and beyond in magnitude, count as 0.
void mixToMono(const PcmView& source, std::size_t firstFrame, std::span<float> mono, MonoRule rule);

} // namespace VarnelSpeech
