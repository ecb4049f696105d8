#pragma once

#include "VarnelSpeech/Asr/TdtDecoderState.h"
#include "VarnelSpeech/Inference/MLFeatureProvider.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// The prediction network's four inputs: "targets" [1, 1] int32, "target_length" [1] int32 (always 1), and the state's
// tensors as "h_in" and "c_in". Reused from step to step.
class ReusableDecoderInput final : public MLFeatureProvider {
public:
    // Allocates the two small tensors.
    ReusableDecoderInput();

    void set(int token, const TdtDecoderState& state);

    const std::vector<std::string>& featureNames() const override;
    std::shared_ptr<MLMultiArray> featureValue(std::string_view name) const override;

private:
    std::shared_ptr<MLMultiArray> targets_;
    std::shared_ptr<MLMultiArray> targetLength_;
    std::shared_ptr<MLMultiArray> hiddenState_;
    std::shared_ptr<MLMultiArray> cellState_;
};

} // namespace VarnelSpeech
