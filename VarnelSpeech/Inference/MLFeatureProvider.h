#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VarnelSpeech {

// A set of named tensors: a model's input or output.
class MLFeatureProvider {
public:
    virtual ~MLFeatureProvider() = default;

    // In a fixed order; valid as long as the provider.
    virtual const std::vector<std::string>& featureNames() const = 0;

    // Null for a name that the provider does not have.
    virtual std::shared_ptr<MLMultiArray> featureValue(std::string_view name) const = 0;
};

// A provider built from a dictionary; its names are in ascending order.
class MLDictionaryFeatureProvider final : public MLFeatureProvider {
public:
    using Dictionary = std::map<std::string, std::shared_ptr<MLMultiArray>, std::less<>>;

    explicit MLDictionaryFeatureProvider(Dictionary dictionary);

    const std::vector<std::string>& featureNames() const override { return names_; }

    std::shared_ptr<MLMultiArray> featureValue(std::string_view name) const override;

private:
    Dictionary dictionary_;
    std::vector<std::string> names_;
};

} // namespace VarnelSpeech
