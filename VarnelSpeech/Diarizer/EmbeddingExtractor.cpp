#include "VarnelSpeech/Diarizer/EmbeddingExtractor.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Diarizer/DiarizerModelContracts.h"
#include "VarnelSpeech/Shared/ZeroCopyDiarizerFeatureProvider.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace VarnelSpeech {

namespace {

constexpr auto windowSamples = static_cast<std::size_t>(diarizerWindowSamples);

// Repeats the first `written` values of the slot to its end.
void tile(std::span<float> slot, std::size_t written) {
    while (written > 0 && written < slot.size()) {
        const std::size_t count = std::min(written, slot.size() - written);
        std::copy_n(slot.begin(), count, slot.begin() + static_cast<std::ptrdiff_t>(written));
        written += count;
    }
}

// How many frames of the window the audio covers, rounded.
std::size_t coveredFrames(std::size_t frames, std::size_t audioLength) {
    if (audioLength >= windowSamples)
        return frames;
    return std::min(frames, (frames * audioLength + windowSamples / 2) / windowSamples);
}

void fillMask(MLMultiArray& tensor, std::span<const float> mask, std::size_t maskFrames) {
    tensor.zero();
    const std::span<float> slot(tensor.data<float>(), static_cast<std::size_t>(tensor.shape()[1]));
    std::copy_n(mask.begin(), std::min(maskFrames, mask.size()), slot.begin());
    tile(slot, maskFrames);
}

bool isTooQuiet(std::span<const float> mask, float minActivityThreshold) {
    const float activity = std::accumulate(mask.begin(), mask.end(), 0.0F);
    return activity < minActivityThreshold || (mask.empty() && minActivityThreshold > 0);
}

} // namespace

EmbeddingExtractor::EmbeddingExtractor(std::shared_ptr<MLModel> model) : wespeakerModel_(std::move(model)) {
    logger_.info("EmbeddingExtractor ready with ANE memory optimizer");
}

std::vector<std::vector<float>> EmbeddingExtractor::extractEmbeddings(std::span<const float> audio,
                                                                      std::span<const std::vector<float>> masks,
                                                                      float minActivityThreshold) {
    std::vector<std::vector<float>> embeddings;
    if (masks.empty())
        return embeddings;
    const std::size_t frames = masks.front().size();
    const auto waveform = buffer("embedding_waveform", diarizerWindowSamples);
    const auto maskTensor = buffer("embedding_mask", static_cast<std::int64_t>(frames));
    fillWaveform(*waveform, audio);
    const std::size_t maskFrames = coveredFrames(frames, audio.size());
    const ZeroCopyDiarizerFeatureProvider features(
        ZeroCopyDiarizerFeatureProvider::Features{{"waveform", waveform}, {"mask", maskTensor}});

    embeddings.reserve(masks.size());
    for (const std::vector<float>& mask : masks) {
        if (isTooQuiet(mask, minActivityThreshold)) {
            embeddings.emplace_back(dimension, 0.0F);
            continue;
        }
        fillMask(*maskTensor, mask, maskFrames);
        const auto output = wespeakerModel_->prediction(features, MLPredictionOptions());
        const std::shared_ptr<MLMultiArray> embedding = output->featureValue("embedding");
        embeddings.push_back(embedding ? firstSlot(embedding) : std::vector<float>(dimension, 0.0F));
    }
    return embeddings;
}

std::shared_ptr<MLMultiArray> EmbeddingExtractor::buffer(const char* key, std::int64_t width) {
    try {
        return memoryOptimizer_.getBuffer(key, {diarizerEmbeddingSlots, width}, MLMultiArrayDataType::float32);
    } catch (const ANEMemoryUtils::ANEMemoryError&) {
        throw DiarizerError(DiarizerError::Case::memoryAllocationFailed);
    }
}

// The network has three slots; one is used, the others stay zero.
void EmbeddingExtractor::fillWaveform(MLMultiArray& waveform, std::span<const float> audio) {
    // The pooled tensor may hold the end of an audio that ran into the other slots.
    if (audio.size() != windowSamples)
        waveform.zero();
    const std::size_t written = memoryOptimizer_.optimizedCopy(audio, waveform);
    tile({waveform.data<float>(), windowSamples}, written);
}

std::vector<float> EmbeddingExtractor::firstSlot(const std::shared_ptr<MLMultiArray>& output) {
    const MLShape& shape = output->shape();
    const bool isFit = output->dataType() == MLMultiArrayDataType::float32 && shape.size() == 2 && shape[0] > 0 &&
                       shape[1] == diarizerEmbeddingSize;
    if (!isFit)
        throw DiarizerError::processingFailed(fmt::format("embedding output is {} {}, expected Float32 [{}, {}]",
                                                          name(output->dataType()), describe(shape),
                                                          diarizerEmbeddingSlots, diarizerEmbeddingSize));
    const std::int64_t stride = output->strides()[1];
    if (stride == 1) {
        try {
            const auto view = memoryOptimizer_.createZeroCopyView(output, 0, {diarizerEmbeddingSize});
            const auto* values = view->data<float>();
            return {values, values + dimension};
        } catch (const ANEMemoryUtils::ANEMemoryError&) { // the tensor can be read all the same
        }
    }
    std::vector<float> values(dimension);
    const auto* source = output->data<float>();
    for (float& value : values) {
        value = *source;
        source += stride;
    }
    return values;
}

} // namespace VarnelSpeech
