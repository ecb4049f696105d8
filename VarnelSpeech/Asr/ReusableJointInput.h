#pragma once

#include "VarnelSpeech/Inference/MLFeatureProvider.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// The joint network's two inputs, "encoder_step" [1, 1024, 1] and "decoder_step" [1, 640, 1], both float32. One
// instance lives for a whole decode call, so that no joint call allocates.
class ReusableJointInput final : public MLFeatureProvider {
public:
    ReusableJointInput(std::shared_ptr<MLMultiArray> encoderStep, std::shared_ptr<MLMultiArray> decoderStep);

    const std::vector<std::string>& featureNames() const override;
    std::shared_ptr<MLMultiArray> featureValue(std::string_view name) const override;

    MLMultiArray& encoderStep() { return *encoderStep_; }

    MLMultiArray& decoderStep() { return *decoderStep_; }

private:
    std::shared_ptr<MLMultiArray> encoderStep_;
    std::shared_ptr<MLMultiArray> decoderStep_;
};

} // namespace VarnelSpeech
