#include "VarnelSpeech/Asr/JointNetwork.h"

#include "VarnelSpeech/Asr/ASRError.h"
#include "VarnelSpeech/Asr/DecoderProjection.h"
#include "VarnelSpeech/Asr/StepTensor.h"

namespace VarnelSpeech {

namespace {

std::shared_ptr<MLMultiArray> oneElement(MLMultiArrayDataType type) {
    return MLMultiArray::make({1, 1, 1}, type);
}

std::shared_ptr<MLMultiArray> require(const MLFeatureProvider* output, const char* outputName) {
    auto value = output != nullptr ? output->featureValue(outputName) : nullptr;
    if (!value) {
        throw ASRError::processingFailed(std::string("Joint decision output missing ") + outputName);
    }
    return value;
}

void checkType(const MLMultiArray& value, const char* outputName, MLMultiArrayDataType expected) {
    if (value.dataType() != expected) {
        throw ASRError::processingFailed(std::string("Joint decision output ") + outputName +
                                         " has unsupported type: " + name(value.dataType()));
    }
}

JointDecision readDecision(const MLFeatureProvider* output) {
    const auto token = require(output, "token_id");
    const auto probability = require(output, "token_prob");
    const auto duration = require(output, "duration");
    if (token->count() != 1 || probability->count() != 1 || duration->count() != 1) {
        throw ASRError::processingFailed("Joint decision returned unexpected tensor shapes");
    }
    checkType(*token, "token_id", MLMultiArrayDataType::int32);
    checkType(*probability, "token_prob", MLMultiArrayDataType::float32);
    checkType(*duration, "duration", MLMultiArrayDataType::int32);
    return {token->data<std::int32_t>()[0], probability->data<float>()[0], duration->data<std::int32_t>()[0]};
}

} // namespace

JointNetwork::JointNetwork(MLModel& model)
    : model_(model),
      input_(makeStepTensor(EncoderFrameView::hiddenSize), makeStepTensor(decoderHiddenSize)),
      encoderStepStride_(input_.encoderStep().strides()[1]) {
    options_.outputBackings = {{"token_id", oneElement(MLMultiArrayDataType::int32)},
                               {"token_prob", oneElement(MLMultiArrayDataType::float32)},
                               {"duration", oneElement(MLMultiArrayDataType::int32)}};
}

void JointNetwork::prepareDecoderStep(const MLMultiArray& projection) {
    normalizeDecoderProjection(projection, input_.decoderStep());
}

JointDecision JointNetwork::runJoint(const EncoderFrameView& frames, std::int64_t timeIndex) {
    frames.copyFrame(timeIndex, input_.encoderStep().data<float>(), encoderStepStride_);
    const auto output = model_.prediction(input_, options_);
    return readDecision(output.get());
}

} // namespace VarnelSpeech
