#include "VarnelSpeech/Diarizer/DiarizerModelContracts.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Shared/ModelContract.h"

#include <fmt/format.h>

namespace VarnelSpeech {

namespace {

using Type = MLMultiArrayDataType;

ModelContract contractOf(std::string_view bundle, const MLModel& model) {
    return {bundle, model.modelDescription(), "the diarizer"};
}

// Returns the frames of a window, or `any` where the network leaves them open.
std::int64_t requireSegmentation(const MLModel& model) {
    const ModelContract contract = contractOf(ModelNames::Diarizer::segmentation, model);
    contract.takes("audio", Type::float32, {1, 1, diarizerWindowSamples});
    contract.takesOnly({"audio"});
    contract.gives("segments", Type::float32, {1, ModelContract::any, diarizerClassCount});
    const std::int64_t frames = contract.output("segments", Type::float32).shape[1];
    if (frames >= 0 && !isFrameCount(frames))
        contract.fail(fmt::format("output 'segments' has {} frames, expected 1 to {}", frames, diarizerWindowSamples));
    return frames;
}

void requireEmbedding(const MLModel& model, std::int64_t frames) {
    const ModelContract contract = contractOf(ModelNames::Diarizer::embedding, model);
    contract.takes("waveform", Type::float32, {diarizerEmbeddingSlots, diarizerWindowSamples});
    contract.takes("mask", Type::float32, {diarizerEmbeddingSlots, frames < 0 ? ModelContract::any : frames});
    contract.takesOnly({"waveform", "mask"});
    contract.gives("embedding", Type::float32, {diarizerEmbeddingSlots, diarizerEmbeddingSize});
}

} // namespace

void requireContracts(const DiarizerModels& models) {
    try {
        const std::int64_t frames = requireSegmentation(*models.segmentationModel);
        requireEmbedding(*models.embeddingModel, frames);
    } catch (const ModelContract::Mismatch& mismatch) {
        throw DiarizerError::processingFailed(mismatch.what());
    }
}

} // namespace VarnelSpeech
