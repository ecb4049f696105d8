// One window of audio through the networks.
#include "VarnelSpeech/Asr/AsrManager.h"

#include "VarnelSpeech/Asr/EncoderInput.h"
#include "VarnelSpeech/Asr/PooledArray.h"
#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include <algorithm>
#include <cmath>

namespace VarnelSpeech {

namespace {

constexpr int v2BlankId = 1024;

int framesOf(int samples) {
    constexpr int frame = ASRConstants::samplesPerEncoderFrame;
    return samples / frame + (samples % frame > 0 ? 1 : 0);
}

// Element 0 as an integer; none where there is none, or not one that an int holds.
std::optional<int> integerElement(const MLMultiArray& array) {
    if (array.count() < 1) {
        return std::nullopt;
    }
    double value = 0;
    switch (array.dataType()) {
    case MLMultiArrayDataType::int32:
        return array.data<std::int32_t>()[0];
    case MLMultiArrayDataType::float32:
        value = static_cast<double>(array.data<float>()[0]);
        break;
    case MLMultiArrayDataType::float64:
        value = array.data<double>()[0];
        break;
    case MLMultiArrayDataType::float16:
        return std::nullopt;
    }
    if (!(std::abs(value) <= INT32_MAX)) {
        return std::nullopt;
    }
    return static_cast<int>(value);
}

std::shared_ptr<MLMultiArray> require(const MLFeatureProvider& output, std::string_view name, const char* message) {
    auto value = output.featureValue(name);
    if (!value) {
        throw ASRError::processingFailed(message);
    }
    return value;
}

} // namespace

std::pair<TdtHypothesis, int>
AsrManager::executeMLInferenceWithTimings(std::span<const float> paddedAudio, std::optional<int> originalLength,
                                          std::optional<int> actualAudioFrames, TdtDecoderState& decoderState,
                                          int contextFrameAdjustment, bool isLastChunk, int globalFrameOffset) {
    if (paddedAudio.size() > static_cast<std::size_t>(INT32_MAX)) {
        throw ASRError(ASRError::Case::invalidAudioData);
    }
    const int audioLength = originalLength.value_or(static_cast<int>(paddedAudio.size()));
    const PooledArray audioSignal({1, static_cast<std::int64_t>(paddedAudio.size())}, MLMultiArrayDataType::float32);
    std::copy(paddedAudio.begin(), paddedAudio.end(), audioSignal.array()->data<float>());
    const PooledArray lengthInput({1}, MLMultiArrayDataType::int32);
    lengthInput.array()->data<std::int32_t>()[0] = audioLength;
    const MLDictionaryFeatureProvider preprocessorInput(
        {{"audio_signal", audioSignal.array()}, {"audio_length", lengthInput.array()}});

    if (!preprocessorModel_ || !encoderModel_) {
        throw ASRError(ASRError::Case::notInitialized);
    }
    const auto preprocessorOutput = preprocessorModel_->prediction(preprocessorInput, predictionOptions_);
    const auto encoderInput =
        prepareEncoderInput(encoderModel_->modelDescription(), preprocessorOutput, preprocessorInput);
    const auto encoderOutput = encoderModel_->prediction(*encoderInput, predictionOptions_);
    const auto encoded = require(*encoderOutput, "encoder", "Invalid encoder output");
    const auto encodedLength = require(*encoderOutput, "encoder_length", "Invalid encoder output length");
    const std::optional<int> encoderSequenceLength = integerElement(*encodedLength);
    if (!encoderSequenceLength) {
        throw ASRError::processingFailed("Invalid encoder output length");
    }

    const int actualFrames = actualAudioFrames.value_or(framesOf(audioLength));
    TdtHypothesis hypothesis = tdtDecodeWithTimings(encoded, *encoderSequenceLength, actualFrames, decoderState,
                                                    contextFrameAdjustment, isLastChunk, globalFrameOffset);
    return {std::move(hypothesis), *encoderSequenceLength};
}

TdtHypothesis AsrManager::tdtDecodeWithTimings(const std::shared_ptr<MLMultiArray>& encoderOutput,
                                               int encoderSequenceLength, int actualAudioFrames,
                                               TdtDecoderState& decoderState, int contextFrameAdjustment,
                                               bool isLastChunk, int globalFrameOffset) const {
    if (!decoderModel_ || !jointModel_) {
        throw ASRError(ASRError::Case::notInitialized);
    }
    return TdtDecoderV3(decoderConfig())
        .decodeWithTimings(encoderOutput, encoderSequenceLength, actualAudioFrames, *decoderModel_, *jointModel_,
                           decoderState, contextFrameAdjustment, isLastChunk, globalFrameOffset);
}

// The two versions differ in the blank's id alone.
ASRConfig AsrManager::decoderConfig() const {
    ASRConfig config = config_;
    if (asrModels_ && asrModels_->version == AsrModelVersion::v2) {
        config.tdtConfig.blankId = v2BlankId;
    }
    return config;
}

} // namespace VarnelSpeech
