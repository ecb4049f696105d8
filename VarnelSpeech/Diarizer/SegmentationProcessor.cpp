#include "VarnelSpeech/Diarizer/SegmentationProcessor.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Diarizer/DiarizerModelContracts.h"
#include "VarnelSpeech/Diarizer/PowersetDecoder.h"
#include "VarnelSpeech/Inference/TensorMemory.h"
#include "VarnelSpeech/Shared/ZeroCopyDiarizerFeatureProvider.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace VarnelSpeech {

SpeakerActivity SegmentationProcessor::segment(std::span<const float> audio, std::size_t chunkSize, MLModel& model) {
    const ZeroCopyDiarizerFeatureProvider features(
        ZeroCopyDiarizerFeatureProvider::Features{{"audio", input(audio, chunkSize)}});
    const auto output = model.prediction(features, MLPredictionOptions());
    const std::shared_ptr<MLMultiArray> segments = output->featureValue("segments");
    if (!segments)
        throw DiarizerError::processingFailed("Missing segments output from segmentation model");
    return decode(*segments);
}

std::shared_ptr<MLMultiArray> SegmentationProcessor::input(std::span<const float> audio, std::size_t chunkSize) {
    constexpr auto largest = static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max());
    try {
        auto tensor = memoryOptimizer_.getBuffer("segmentation_audio",
                                                 {1, 1, static_cast<std::int64_t>(std::min(chunkSize, largest))},
                                                 MLMultiArrayDataType::float32);
        const std::size_t copied = memoryOptimizer_.optimizedCopy(audio, *tensor);
        std::fill(tensor->data<float>() + copied, tensor->data<float>() + tensor->count(), 0.0F);
        return tensor;
    } catch (const ANEMemoryUtils::ANEMemoryError&) {
        throw DiarizerError(DiarizerError::Case::memoryAllocationFailed);
    }
}

SpeakerActivity SegmentationProcessor::decode(const MLMultiArray& segments) {
    const MLShape& shape = segments.shape();
    const bool isScores = segments.dataType() == MLMultiArrayDataType::float32 && shape.size() == 3 && shape[0] > 0 &&
                          isFrameCount(shape[1]) && shape[2] == diarizerClassCount;
    if (!isScores)
        throw DiarizerError::processingFailed(
            fmt::format("segments output is {} {}, expected Float32 [1, F, {}] with 1 to {} frames",
                        name(segments.dataType()), describe(shape), diarizerClassCount, diarizerWindowSamples));
    const auto frames = static_cast<std::size_t>(shape[1]);
    const auto classes = static_cast<std::size_t>(shape[2]);
    const auto buffer = [this](const MLShape& bufferShape) {
        return memoryOptimizer_.getBuffer("segmentation_speakers", bufferShape, MLMultiArrayDataType::float32);
    };
    if (segments.isContiguous())
        return PowersetDecoder::decode({segments.data<float>(), frames, classes}, buffer);
    const auto gapFree = MLMultiArray::make(shape, MLMultiArrayDataType::float32);
    gather(segments, gapFree->rawData());
    return PowersetDecoder::decode({gapFree->data<float>(), frames, classes}, buffer);
}

} // namespace VarnelSpeech
