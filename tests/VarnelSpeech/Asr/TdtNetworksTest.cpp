// What the decoder does with networks whose outputs are not those of the contract.
#include "VarnelSpeech/Asr/JointNetwork.h"
#include "VarnelSpeech/Asr/PredictionNetwork.h"
#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include "support/ScriptedTransducer.h"
#include "support/ThrownText.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Type = MLMultiArrayDataType;
using Call = ScriptedModel::Call;

// A model that returns the given tensors, whatever it is asked and wherever its outputs should go.
class FixedModel final : public MLModel {
public:
    explicit FixedModel(MLDictionaryFeatureProvider::Dictionary outputs)
        : outputs_(std::make_shared<MLDictionaryFeatureProvider>(std::move(outputs))) {}

    const MLModelDescription& modelDescription() const override { return description_; }

    std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider&, const MLPredictionOptions&) override {
        return outputs_;
    }

private:
    MLModelDescription description_;
    std::shared_ptr<const MLFeatureProvider> outputs_;
};

MLDictionaryFeatureProvider::Dictionary decisionOutputs() {
    return {{"token_id", MLMultiArray::make({1, 1, 1}, Type::int32)},
            {"token_prob", MLMultiArray::make({1, 1, 1}, Type::float32)},
            {"duration", MLMultiArray::make({1, 1, 1}, Type::int32)}};
}

std::string jointFailure(MLDictionaryFeatureProvider::Dictionary outputs) {
    FixedModel model(std::move(outputs));
    JointNetwork joint(model);
    const EncoderFrameView frames(makeEncoderOutput(2), 2);
    return thrownText([&] { joint.runJoint(frames, 0); });
}

TEST(JointNetwork, AMissingOutputFails) {
    for (const std::string name : {"token_id", "token_prob", "duration"}) {
        auto outputs = decisionOutputs();
        outputs.erase(name);
        EXPECT_EQ(jointFailure(outputs), processingFailed("Joint decision output missing " + name));
    }
    EXPECT_EQ(jointFailure({}), processingFailed("Joint decision output missing token_id"));
}

TEST(JointNetwork, OutputsOfNotExactlyOneElementFail) {
    for (const std::string name : {"token_id", "token_prob", "duration"}) {
        for (const MLShape& shape : {MLShape{1, 1, 2}, MLShape{0}, MLShape{}}) {
            auto outputs = decisionOutputs();
            outputs[name] = MLMultiArray::make(shape, outputs[name]->dataType());
            EXPECT_EQ(jointFailure(outputs), processingFailed("Joint decision returned unexpected tensor shapes"));
        }
    }
}

TEST(JointNetwork, OneElementOfAnyRankIsADecision) {
    auto outputs = decisionOutputs();
    outputs["token_id"] = MLMultiArray::make({1}, Type::int32);
    EXPECT_EQ(jointFailure(outputs), "(no error)");
}

TEST(JointNetwork, OutputsOfAnotherTypeFail) {
    for (const std::string name : {"token_id", "token_prob", "duration"}) {
        auto outputs = decisionOutputs();
        outputs[name] = MLMultiArray::make({1, 1, 1}, Type::float64);
        EXPECT_EQ(jointFailure(outputs),
                  processingFailed("Joint decision output " + name + " has unsupported type: Double"));
    }
}

TEST(JointNetwork, ReadsTheDecisionAsItIs) {
    ScriptedTransducer transducer({{-5, 1.75F, 9}});
    JointNetwork joint(transducer.joint());
    const JointDecision decision = joint.runJoint(EncoderFrameView(makeEncoderOutput(3), 3), 2);
    EXPECT_EQ(decision.token, -5);
    EXPECT_EQ(decision.probability, 1.75F);
    EXPECT_EQ(decision.durationBin, 9);
    EXPECT_EQ(transducer.frames(), std::vector<int>{2});
}

TEST(ReusableJointInput, KnowsItsTwoNamesOnly) {
    const auto encoderStep = MLMultiArray::make({1, 1024, 1}, Type::float32);
    const auto decoderStep = MLMultiArray::make({1, 640, 1}, Type::float32);
    const ReusableJointInput input(encoderStep, decoderStep);
    EXPECT_EQ(input.featureNames(), (std::vector<std::string>{"encoder_step", "decoder_step"}));
    EXPECT_EQ(input.featureValue("encoder_step"), encoderStep);
    EXPECT_EQ(input.featureValue("decoder_step"), decoderStep);
    EXPECT_EQ(input.featureValue("targets"), nullptr);
}

TEST(PredictionNetwork, AnOutputWithoutAProjectionFails) {
    FixedModel model({{"h_out", MLMultiArray::make({2, 1, 640}, Type::float32)}});
    PredictionNetwork network(model);
    EXPECT_EQ(thrownText([&] { network.runDecoder(1, TdtDecoderState()); }),
              processingFailed("Invalid decoder output"));
}

TEST(PredictionNetwork, TakesOverTheStateThatTheNetworkReturns) {
    const auto hidden = MLMultiArray::make({2, 1, 640}, Type::float32);
    const auto projection = MLMultiArray::make({1, 640, 1}, Type::float32);
    FixedModel model({{"decoder", projection}, {"h_out", hidden}});
    PredictionNetwork network(model);
    TdtDecoderState state;
    state.lastToken = 3;
    state.timeJump = 4;
    state.predictorOutput = MLMultiArray::make({1}, Type::float32);
    const auto step = network.runDecoder(1, state);
    EXPECT_EQ(step.projection, projection);
    EXPECT_EQ(step.state.hiddenState, hidden);
    EXPECT_EQ(step.state.cellState, state.cellState); // not returned: stays
    EXPECT_EQ(step.state.lastToken, 3);
    EXPECT_EQ(step.state.timeJump, 4);
    EXPECT_EQ(step.state.predictorOutput, state.predictorOutput);
}

// One decode whose prediction network returns `output` in place of its projection.
std::string decodeFailure(const ScriptedModel::Script& script) {
    ScriptedTransducer transducer(std::vector<JointDecision>{});
    ScriptedModel decoder(ScriptedTransducer::decoderDescription(), script);
    TdtDecoderState state;
    return thrownText(
        [&] { TdtDecoderV3({}).decodeWithTimings(makeEncoderOutput(9), 9, 9, decoder, transducer.joint(), state); });
}

TEST(TdtDecoderV3, AProjectionThatDoesNotFitFails) {
    EXPECT_EQ(decodeFailure([](Call& call) {
                  call.setOutput("decoder", MLMultiArray::make({1, 64, 1}, Type::float32));
              }),
              processingFailed("Decoder projection hidden size mismatch: [1, 64, 1]"));
    EXPECT_EQ(decodeFailure([](Call& call) { call.setOutput("decoder", MLMultiArray::make({640}, Type::float32)); }),
              processingFailed("Invalid decoder projection rank: [640]"));
    EXPECT_EQ(decodeFailure([](Call& call) {
                  call.setOutput("decoder", MLMultiArray::make({1, 640, 1}, Type::float16));
              }),
              processingFailed("Unsupported decoder projection type: Float16"));
    EXPECT_EQ(decodeFailure([](Call& call) { call.omitOutput("decoder"); }),
              processingFailed("Invalid decoder output"));
}

TEST(TdtDecoderV3, StatesThatTheNetworkReturnsAreCarriedOn) {
    const auto hidden = MLMultiArray::make({2, 1, 640}, Type::float32);
    FixedModel decoder({{"decoder", MLMultiArray::make({1, 1, 640}, Type::float32)}, {"h_out", hidden}});
    ScriptedTransducer transducer({{5, 0.5F, 1}});
    TdtDecoderState state;
    TdtDecoderV3({}).decodeWithTimings(makeEncoderOutput(9), 9, 9, decoder, transducer.joint(), state);
    EXPECT_EQ(state.hiddenState, hidden);
    EXPECT_EQ(state.lastToken, 5);
}

} // namespace
} // namespace VarnelSpeech::Testing
