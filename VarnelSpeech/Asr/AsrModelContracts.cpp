#include "VarnelSpeech/Asr/AsrModelContracts.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace VarnelSpeech {

namespace {

using Features = std::map<std::string, MLFeatureDescription, std::less<>>;
using Type = MLMultiArrayDataType;

constexpr std::int64_t windowSamples = 240000; // of every call of the preprocessor
constexpr std::int64_t encoderSize = 1024;
constexpr std::int64_t predictionSize = 640;

bool fits(std::int64_t declared, std::int64_t wanted) {
    return declared == wanted || declared < 0;
}

bool fits(const MLShape& declared, const MLShape& wanted) {
    return std::equal(declared.begin(), declared.end(), wanted.begin(), wanted.end(),
                      [](std::int64_t a, std::int64_t b) { return fits(a, b); });
}

// The checks of one bundle.
class Contract {
public:
    Contract(std::string_view bundle, const MLModelDescription& description)
        : bundle_(bundle), description_(description) {}

    void takes(std::string_view name, Type type, const MLShape& shape) const {
        require("input", name, description_.inputDescriptionsByName, type, shape);
    }

    void gives(std::string_view name, std::optional<Type> type, const MLShape& shape) const {
        require("output", name, description_.outputDescriptionsByName, type, shape);
    }

    // Rank 3, batch 1, one axis of `size`; the other axis `other` long, or of any length.
    void givesFrames(std::string_view name, std::int64_t size, std::optional<std::int64_t> other) const {
        const MLShape& shape = feature("output", name, description_.outputDescriptionsByName, Type::float32).shape;
        const auto fitsOther = [&](std::int64_t length) { return !other || fits(length, *other); };
        const bool isFit =
            shape.size() == 3 && fits(shape[0], 1) &&
            ((fits(shape[1], size) && fitsOther(shape[2])) || (fits(shape[2], size) && fitsOther(shape[1])));
        if (!isFit)
            fail(fmt::format("output '{}' has the shape {}, expected [1, {}, {}] or [1, {}, {}]", name, describe(shape),
                             size, other ? std::to_string(*other) : "T", other ? std::to_string(*other) : "T", size));
    }

    // No inputs but these, which is what the recogniser will supply.
    void takesOnly(const std::vector<std::string_view>& names) const {
        for (const auto& [name, description] : description_.inputDescriptionsByName)
            if (std::find(names.begin(), names.end(), name) == names.end())
                fail(fmt::format("input '{}' is none that the recogniser gives", name));
    }

private:
    const MLFeatureDescription& feature(std::string_view kind, std::string_view name, const Features& features,
                                        std::optional<Type> type) const {
        const auto found = features.find(name);
        if (found == features.end())
            fail(fmt::format("{} '{}' is missing", kind, name));
        if (type && found->second.dataType != *type)
            fail(fmt::format("{} '{}' has the type {}, expected {}", kind, name,
                             VarnelSpeech::name(found->second.dataType), VarnelSpeech::name(*type)));
        return found->second;
    }

    void require(std::string_view kind, std::string_view name, const Features& features, std::optional<Type> type,
                 const MLShape& shape) const {
        const MLShape& declared = feature(kind, name, features, type).shape;
        if (!fits(declared, shape))
            fail(fmt::format("{} '{}' has the shape {}, expected {}", kind, name, describe(declared), describe(shape)));
    }

    [[noreturn]] void fail(const std::string& what) const {
        throw AsrModelsError::loadingFailed(fmt::format("{}: {}", bundle_, what));
    }

    std::string_view bundle_;
    const MLModelDescription& description_;
};

void requirePreprocessor(const MLModel& model) {
    const Contract contract(ModelNames::ASR::preprocessor, model.modelDescription());
    contract.takes("audio_signal", Type::float32, {1, windowSamples});
    contract.takes("audio_length", Type::int32, {1});
    contract.takesOnly({"audio_signal", "audio_length"});
}

void requireEncoder(const MLModel& model, const MLModel& preprocessor) {
    const Contract contract(ModelNames::ASR::encoder, model.modelDescription());
    contract.givesFrames("encoder", encoderSize, std::nullopt);
    contract.gives("encoder_length", std::nullopt, {1});
    std::vector<std::string_view> supplied;
    const MLModelDescription& source = preprocessor.modelDescription();
    for (const Features* features : {&source.outputDescriptionsByName, &source.inputDescriptionsByName})
        for (const auto& [name, description] : *features)
            supplied.push_back(name);
    contract.takesOnly(supplied);
}

void requireDecoder(const MLModel& model) {
    const Contract contract(ModelNames::ASR::decoder, model.modelDescription());
    const MLShape state{2, 1, predictionSize};
    contract.takes("targets", Type::int32, {1, 1});
    contract.takes("target_length", Type::int32, {1});
    contract.takes("h_in", Type::float32, state);
    contract.takes("c_in", Type::float32, state);
    contract.takesOnly({"targets", "target_length", "h_in", "c_in"});
    contract.givesFrames("decoder", predictionSize, 1);
    contract.gives("h_out", Type::float32, state);
    contract.gives("c_out", Type::float32, state);
}

void requireJoint(const MLModel& model) {
    const Contract contract(ModelNames::ASR::joint, model.modelDescription());
    contract.takes("encoder_step", Type::float32, {1, encoderSize, 1});
    contract.takes("decoder_step", Type::float32, {1, predictionSize, 1});
    contract.takesOnly({"encoder_step", "decoder_step"});
    contract.gives("token_id", Type::int32, {1, 1, 1});
    contract.gives("token_prob", Type::float32, {1, 1, 1});
    contract.gives("duration", Type::int32, {1, 1, 1});
}

} // namespace

void requireContracts(const AsrModels& models) {
    requirePreprocessor(*models.preprocessor);
    requireEncoder(*models.encoder, *models.preprocessor);
    requireDecoder(*models.decoder);
    requireJoint(*models.joint);
}

} // namespace VarnelSpeech
