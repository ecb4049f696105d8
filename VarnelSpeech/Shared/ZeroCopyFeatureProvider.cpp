#include "VarnelSpeech/Shared/ZeroCopyFeatureProvider.h"

namespace VarnelSpeech {

ZeroCopyFeatureProvider::ZeroCopyFeatureProvider(Features features) : features_(std::move(features)) {
    names_.reserve(features_.size());
    for (const auto& [name, value] : features_)
        names_.push_back(name);
}

std::shared_ptr<MLMultiArray> ZeroCopyFeatureProvider::featureValue(std::string_view name) const {
    const auto found = features_.find(name);
    return found == features_.end() ? nullptr : found->second;
}

std::shared_ptr<ZeroCopyFeatureProvider>
ZeroCopyFeatureProvider::chain(const MLFeatureProvider& output, std::string_view outputName, std::string inputName) {
    std::shared_ptr<MLMultiArray> value = output.featureValue(outputName);
    if (!value)
        return nullptr;
    Features features;
    features.emplace(std::move(inputName), std::move(value));
    return std::make_shared<ZeroCopyFeatureProvider>(std::move(features));
}

} // namespace VarnelSpeech
