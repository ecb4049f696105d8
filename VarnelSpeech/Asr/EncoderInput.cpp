#include "VarnelSpeech/Asr/EncoderInput.h"

#include "VarnelSpeech/Asr/ASRError.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace VarnelSpeech {

namespace {

std::vector<std::string> missingNames(const MLModelDescription& encoder, const MLFeatureProvider& provider) {
    std::vector<std::string> missing;
    for (const auto& [name, description] : encoder.inputDescriptionsByName) {
        if (!provider.featureValue(name)) {
            missing.push_back(name);
        }
    }
    return missing;
}

} // namespace

std::shared_ptr<const MLFeatureProvider>
prepareEncoderInput(const MLModelDescription& encoder, std::shared_ptr<const MLFeatureProvider> preprocessorOutput,
                    const MLFeatureProvider& preprocessorInput) {
    const std::vector<std::string> missing = missingNames(encoder, *preprocessorOutput);
    if (missing.empty()) {
        return preprocessorOutput;
    }
    MLDictionaryFeatureProvider::Dictionary features;
    for (const std::string& name : preprocessorOutput->featureNames()) {
        features[name] = preprocessorOutput->featureValue(name);
    }
    for (const std::string& name : missing) {
        auto value = preprocessorInput.featureValue(name);
        if (!value) {
            throw ASRError::processingFailed(
                fmt::format("Missing required encoder input: {}. Available inputs: {}, fallback inputs: {}", name,
                            fmt::join(preprocessorOutput->featureNames(), ", "),
                            fmt::join(preprocessorInput.featureNames(), ", ")));
        }
        features[name] = std::move(value);
    }
    return std::make_shared<MLDictionaryFeatureProvider>(std::move(features));
}

} // namespace VarnelSpeech
