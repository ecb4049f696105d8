#pragma once

#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Inference/TensorMemory.h"
#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace VarnelSpeech::Testing {

// Loads tiny networks and makes tensors for them.
class OnnxModelFixture : public ::testing::Test {
protected:
    std::shared_ptr<MLModel> load(const OnnxModelBuilder& network) {
        const auto bundle = folder_ / "Tiny.mlmodelc";
        network.writeBundle(bundle);
        return loadModel(bundle, {MLComputeUnits::cpuOnly, false, MLThreading::callingThread});
    }

    static std::shared_ptr<MLMultiArray> floats(const MLShape& shape, const std::vector<float>& values) {
        auto array = MLMultiArray::make(shape, MLMultiArrayDataType::float32);
        scatter(values.data(), *array);
        return array;
    }

    // The same elements with gaps between all of them, and after each row.
    static std::shared_ptr<MLMultiArray> withGaps(const MLShape& shape, const std::vector<float>& values) {
        MLShape strides(shape.size());
        std::int64_t stride = 2;
        for (std::size_t axis = shape.size(); axis-- > 0; stride = stride * shape[axis] + 3)
            strides[axis] = stride;
        const TensorExtent reach = extent(shape, strides);
        auto memory = std::make_shared<std::vector<float>>(static_cast<std::size_t>(reach.end), -1.0F);
        auto array = std::make_shared<MLMultiArray>(memory->data(), shape, MLMultiArrayDataType::float32, strides,
                                                    [memory](void*) {});
        scatter(values.data(), *array);
        return array;
    }

    static std::vector<float> values(const MLMultiArray& array) {
        std::vector<float> result(static_cast<std::size_t>(array.count()));
        gather(array, result.data());
        return result;
    }

    static std::vector<float> values(const MLFeatureProvider& result, std::string_view name) {
        return values(*result.featureValue(name));
    }

    // The text of the MLModelError that a prediction ends with.
    static std::string refusal(MLModel& model, const MLDictionaryFeatureProvider::Dictionary& inputs,
                               const MLPredictionOptions& options = {}) {
        try {
            model.prediction(MLDictionaryFeatureProvider(inputs), options);
        } catch (const MLModelError& error) {
            return error.what();
        }
        return "(no error)";
    }

    TemporaryFolder folder_;
};

} // namespace VarnelSpeech::Testing
