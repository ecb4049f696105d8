#pragma once

#include "VarnelSpeech/Asr/EncoderFrameView.h"
#include "VarnelSpeech/Asr/JointDecision.h"
#include "VarnelSpeech/Asr/ReusableJointInput.h"
#include "VarnelSpeech/Inference/MLModel.h"

#include <memory>

namespace VarnelSpeech {

// The joint network, which decides on one frame after the tokens so far, for the time of one decode call: inputs and
// output backings are made once, and its calls allocate nothing of their own.
class JointNetwork {
public:
    explicit JointNetwork(MLModel& model);

    JointNetwork(const JointNetwork&) = delete;
    JointNetwork& operator=(const JointNetwork&) = delete;

    // Sets the projection that the calls from now on go by. Throws ASRError for one that does not fit.
    void prepareDecoderStep(const MLMultiArray& projection);

    // Throws ASRError for a frame out of range and for an output that is not a decision, and the runtime's own
    // errors.
    JointDecision runJoint(const EncoderFrameView& frames, std::int64_t timeIndex);

private:
    MLModel& model_;
    ReusableJointInput input_;
    std::int64_t encoderStepStride_;
    MLPredictionOptions options_;
};

} // namespace VarnelSpeech
