#pragma once

#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Shared/ANEMemoryOptimizer.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Turns a window of audio and a frame mask for each of its speakers into voice vectors. One thread at a time.
class EmbeddingExtractor {
public:
    static constexpr std::size_t dimension = 256;

    explicit EmbeddingExtractor(std::shared_ptr<MLModel> model);

    // One raw vector (not normalised) of 256 values for each mask, in their order. Audio of less than 160000 samples
    // is repeated to fill the network's window, and the masks with it. All masks are as long as the first, in frames
    // of the window. A speaker with an activity (the mask's sum) below the threshold gets zeros and costs no call.
    // Throws DiarizerError memoryAllocationFailed and processingFailed (an output that is not [3, 256]), and the
    // network's own errors.
    std::vector<std::vector<float>> extractEmbeddings(std::span<const float> audio,
                                                      std::span<const std::vector<float>> masks,
                                                      float minActivityThreshold);

private:
    std::shared_ptr<MLMultiArray> buffer(const char* key, std::int64_t width);
    void fillWaveform(MLMultiArray& waveform, std::span<const float> audio);
    std::vector<float> firstSlot(const std::shared_ptr<MLMultiArray>& output);

    std::shared_ptr<MLModel> wespeakerModel_;
    AppLogger logger_{"EmbeddingExtractor"};
    ANEMemoryOptimizer memoryOptimizer_;
};

} // namespace VarnelSpeech
