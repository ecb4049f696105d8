#pragma once

#include "VarnelSpeech/Inference/MLFeatureProvider.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// What a prediction returns: a value for each output, under names that all results of a model share.
class PredictionResult final : public MLFeatureProvider {
public:
    explicit PredictionResult(std::shared_ptr<const std::vector<std::string>> names);

    const std::vector<std::string>& featureNames() const override { return *names_; }

    std::shared_ptr<MLMultiArray> featureValue(std::string_view name) const override;

    void setValue(std::size_t index, std::shared_ptr<MLMultiArray> value) { values_[index] = std::move(value); }

    void clear();

private:
    std::shared_ptr<const std::vector<std::string>> names_;
    std::vector<std::shared_ptr<MLMultiArray>> values_;
};

// Results and output tensors of one model, handed out again once nobody else holds them, so that steady calls
// allocate nothing. Not locked; results may be let go on any thread.
//
// A result that was let go keeps its tensors until the next takeResult().
class PredictionPool {
public:
    explicit PredictionPool(std::vector<std::string> outputNames);

    const std::vector<std::string>& outputNames() const { return *names_; }

    // A result without values.
    std::shared_ptr<PredictionResult> takeResult();

    // A contiguous tensor for output number `index`; its contents are whatever was there.
    std::shared_ptr<MLMultiArray> takeTensor(std::size_t index, const MLShape& shape, MLMultiArrayDataType type);

private:
    std::shared_ptr<const std::vector<std::string>> names_;
    std::vector<std::shared_ptr<PredictionResult>> results_;
    std::size_t oldestResult_ = 0;

    struct TensorRing {
        std::vector<std::shared_ptr<MLMultiArray>> tensors;
        std::size_t oldest = 0;
    };

    std::vector<TensorRing> tensors_; // one ring an output
};

} // namespace VarnelSpeech
