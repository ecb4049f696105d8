#include "VarnelSpeech/Asr/ReusableDecoderInput.h"

namespace VarnelSpeech {

ReusableDecoderInput::ReusableDecoderInput()
    : targets_(MLMultiArray::make({1, 1}, MLMultiArrayDataType::int32)),
      targetLength_(MLMultiArray::make({1}, MLMultiArrayDataType::int32)) {
    targetLength_->data<std::int32_t>()[0] = 1;
}

void ReusableDecoderInput::set(int token, const TdtDecoderState& state) {
    targets_->data<std::int32_t>()[0] = token;
    hiddenState_ = state.hiddenState;
    cellState_ = state.cellState;
}

const std::vector<std::string>& ReusableDecoderInput::featureNames() const {
    static const std::vector<std::string> names{"targets", "target_length", "h_in", "c_in"};
    return names;
}

std::shared_ptr<MLMultiArray> ReusableDecoderInput::featureValue(std::string_view name) const {
    if (name == "targets") {
        return targets_;
    }
    if (name == "target_length") {
        return targetLength_;
    }
    if (name == "h_in") {
        return hiddenState_;
    }
    if (name == "c_in") {
        return cellState_;
    }
    return nullptr;
}

} // namespace VarnelSpeech
