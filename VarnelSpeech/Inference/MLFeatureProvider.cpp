#include "VarnelSpeech/Inference/MLFeatureProvider.h"

namespace VarnelSpeech {

MLDictionaryFeatureProvider::MLDictionaryFeatureProvider(Dictionary dictionary) : dictionary_(std::move(dictionary)) {
    names_.reserve(dictionary_.size());
    for (const auto& [name, value] : dictionary_)
        names_.push_back(name);
}

std::shared_ptr<MLMultiArray> MLDictionaryFeatureProvider::featureValue(std::string_view name) const {
    const auto found = dictionary_.find(name);
    return found == dictionary_.end() ? nullptr : found->second;
}

} // namespace VarnelSpeech
