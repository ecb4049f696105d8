#include "VarnelSpeech/Asr/ReusableJointInput.h"

namespace VarnelSpeech {

ReusableJointInput::ReusableJointInput(std::shared_ptr<MLMultiArray> encoderStep,
                                       std::shared_ptr<MLMultiArray> decoderStep)
    : encoderStep_(std::move(encoderStep)), decoderStep_(std::move(decoderStep)) {}

const std::vector<std::string>& ReusableJointInput::featureNames() const {
    static const std::vector<std::string> names{"encoder_step", "decoder_step"};
    return names;
}

std::shared_ptr<MLMultiArray> ReusableJointInput::featureValue(std::string_view name) const {
    if (name == "encoder_step") {
        return encoderStep_;
    }
    if (name == "decoder_step") {
        return decoderStep_;
    }
    return nullptr;
}

} // namespace VarnelSpeech
