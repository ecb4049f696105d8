#pragma once

#include "VarnelSpeech/Inference/MLFeatureProvider.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// Hands tensors to a model by reference. Its names are in ascending order.
class ZeroCopyFeatureProvider final : public MLFeatureProvider {
public:
    using Features = std::map<std::string, std::shared_ptr<MLMultiArray>, std::less<>>;

    ZeroCopyFeatureProvider() = delete;
    explicit ZeroCopyFeatureProvider(Features features);

    const Features& features() const { return features_; }

    const std::vector<std::string>& featureNames() const override { return names_; }

    std::shared_ptr<MLMultiArray> featureValue(std::string_view name) const override;

    // A provider whose only feature is the named output of a model under a new name, to feed one model's result into
    // the next without a copy. Null when the output lacks that name.
    static std::shared_ptr<ZeroCopyFeatureProvider> chain(const MLFeatureProvider& output, std::string_view outputName,
                                                          std::string inputName);

private:
    Features features_;
    std::vector<std::string> names_;
};

} // namespace VarnelSpeech
