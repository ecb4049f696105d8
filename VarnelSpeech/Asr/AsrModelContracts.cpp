#include "VarnelSpeech/Asr/AsrModelContracts.h"

#include "VarnelSpeech/Shared/ModelContract.h"

#include <fmt/format.h>

#include <optional>

namespace VarnelSpeech {

namespace {

using Features = std::map<std::string, MLFeatureDescription, std::less<>>;
using Type = MLMultiArrayDataType;

constexpr std::int64_t windowSamples = 240000; // of every call of the preprocessor
constexpr std::int64_t encoderSize = 1024;
constexpr std::int64_t predictionSize = 640;

ModelContract contractOf(std::string_view bundle, const MLModel& model) {
    return {bundle, model.modelDescription(), "the recogniser"};
}

// Rank 3, batch 1, one axis of `size`; the other axis `other` long, or of any length.
void requireFrames(const ModelContract& contract, std::string_view name, std::int64_t size,
                   std::optional<std::int64_t> other) {
    const MLShape& shape = contract.output(name, Type::float32).shape;
    const std::int64_t length = other.value_or(ModelContract::any);
    if (ModelContract::fits(shape, {1, size, length}) || ModelContract::fits(shape, {1, length, size}))
        return;
    const std::string otherText = other ? std::to_string(*other) : "T";
    contract.fail(fmt::format("output '{}' has the shape {}, expected [1, {}, {}] or [1, {}, {}]", name,
                              describe(shape), size, otherText, otherText, size));
}

void requirePreprocessor(const MLModel& model) {
    const ModelContract contract = contractOf(ModelNames::ASR::preprocessor, model);
    contract.takes("audio_signal", Type::float32, {1, windowSamples});
    contract.takes("audio_length", Type::int32, {1});
    contract.takesOnly({"audio_signal", "audio_length"});
}

void requireEncoder(const MLModel& model, const MLModel& preprocessor) {
    const ModelContract contract = contractOf(ModelNames::ASR::encoder, model);
    requireFrames(contract, "encoder", encoderSize, std::nullopt);
    contract.gives("encoder_length", std::nullopt, {1});
    std::vector<std::string_view> supplied;
    const MLModelDescription& source = preprocessor.modelDescription();
    for (const Features* features : {&source.outputDescriptionsByName, &source.inputDescriptionsByName})
        for (const auto& [name, description] : *features)
            supplied.push_back(name);
    contract.takesOnly(supplied);
}

void requireDecoder(const MLModel& model) {
    const ModelContract contract = contractOf(ModelNames::ASR::decoder, model);
    const MLShape state{2, 1, predictionSize};
    contract.takes("targets", Type::int32, {1, 1});
    contract.takes("target_length", Type::int32, {1});
    contract.takes("h_in", Type::float32, state);
    contract.takes("c_in", Type::float32, state);
    contract.takesOnly({"targets", "target_length", "h_in", "c_in"});
    requireFrames(contract, "decoder", predictionSize, 1);
    contract.gives("h_out", Type::float32, state);
    contract.gives("c_out", Type::float32, state);
}

void requireJoint(const MLModel& model) {
    const ModelContract contract = contractOf(ModelNames::ASR::joint, model);
    contract.takes("encoder_step", Type::float32, {1, encoderSize, 1});
    contract.takes("decoder_step", Type::float32, {1, predictionSize, 1});
    contract.takesOnly({"encoder_step", "decoder_step"});
    contract.gives("token_id", Type::int32, {1, 1, 1});
    contract.gives("token_prob", Type::float32, {1, 1, 1});
    contract.gives("duration", Type::int32, {1, 1, 1});
}

} // namespace

void requireContracts(const AsrModels& models) {
    try {
        requirePreprocessor(*models.preprocessor);
        requireEncoder(*models.encoder, *models.preprocessor);
        requireDecoder(*models.decoder);
        requireJoint(*models.joint);
    } catch (const ModelContract::Mismatch& mismatch) {
        throw AsrModelsError::loadingFailed(mismatch.what());
    }
}

} // namespace VarnelSpeech
