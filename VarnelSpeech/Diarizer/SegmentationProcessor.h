#pragma once

#include "VarnelSpeech/Diarizer/SpeakerActivity.h"
#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Shared/ANEMemoryOptimizer.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <cstddef>
#include <span>

namespace VarnelSpeech {

// Runs the segmentation network on a window of audio and decodes its scores. One thread at a time.
class SegmentationProcessor {
public:
    // 16 kHz mono samples; the network gets the first `chunkSize` of them, and zeros after the last. Throws
    // DiarizerError memoryAllocationFailed and processingFailed (an output that is missing or not [1, F, 7]), and the
    // network's own errors.
    SpeakerActivity segment(std::span<const float> audio, std::size_t chunkSize, MLModel& model);

private:
    std::shared_ptr<MLMultiArray> input(std::span<const float> audio, std::size_t chunkSize);
    SpeakerActivity decode(const MLMultiArray& segments);

    AppLogger logger_{"Segmentation"};
    ANEMemoryOptimizer memoryOptimizer_;
};

} // namespace VarnelSpeech
