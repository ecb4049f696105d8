#include "support/ScriptedModel.h"

#include "VarnelSpeech/Inference/OnnxModelFixture.h"

namespace VarnelSpeech {
namespace {

using Testing::describeModel;
using ::testing::ElementsAre;
using Testing::ScriptedModel;
using Type = MLMultiArrayDataType;
namespace TinyOnnxModels = Testing::TinyOnnxModels;

class ScriptedModelTest : public Testing::OnnxModelFixture {
protected:
    // The script that does what the tiny network does.
    static void recurrentStep(ScriptedModel::Call& call) {
        for (std::int64_t index = 0; index < call.input("x").count(); ++index) {
            const float x = call.inputFloat("x", index);
            const float hidden = call.inputFloat("h_in", index);
            const float cell = call.inputFloat("c_in", index);
            call.setFloat("h_out", 2 * hidden + x + cell, index);
            call.setFloat("c_out", hidden - cell, index);
            call.setFloat("y", hidden + cell + x, index);
        }
    }
};

TEST_F(ScriptedModelTest, BehavesAsTheNetworkThatItStandsFor) {
    const auto network = load(TinyOnnxModels::recurrentStep(3));
    ScriptedModel scripted(network->modelDescription(), recurrentStep);
    const MLShape shape{2, 1, 3};
    const auto start = std::vector<float>{1, 2, 3, 4, 5, 6};
    const auto x = floats(shape, {1, 0, 1, 0, 1, 0});
    std::vector<std::vector<float>> seen;
    for (MLModel* model : std::initializer_list<MLModel*>{network.get(), &scripted}) {
        const auto hidden = withGaps(shape, start);
        const auto cell = floats(shape, start);
        const MLDictionaryFeatureProvider input({{"x", x}, {"h_in", hidden}, {"c_in", cell}});
        std::vector<float> all;
        for (int step = 0; step < 4; ++step) {
            const auto result = model->prediction(input, {{{"h_out", hidden}, {"c_out", cell}}});
            EXPECT_EQ(result->featureValue("h_out"), hidden);
            for (const char* output : {"y", "h_out", "c_out"})
                for (const float value : values(*result, output))
                    all.push_back(value);
        }
        seen.push_back(all);
    }
    EXPECT_EQ(seen[0], seen[1]);
}

TEST_F(ScriptedModelTest, RefusesWhatANetworkRefuses) {
    ScriptedModel model(
        describeModel({{"x", {2}}}, {{"y", {2}}}), [](ScriptedModel::Call&) {}, "Decoder");
    const auto x = floats({2}, {1, 2});
    EXPECT_EQ(refusal(model, {}), "model 'Decoder': input 'x' is missing");
    EXPECT_EQ(refusal(model, {{"x", floats({3}, {1, 2, 3})}}),
              "model 'Decoder': input 'x' is Float32 [3], expected Float32 [2]");
    EXPECT_EQ(refusal(model, {{"x", x}}, {{{"y", MLMultiArray::make({2}, Type::int32)}}}),
              "model 'Decoder': backing of output 'y' is Int32 [2], expected Float32 [2]");
    EXPECT_EQ(refusal(model, {{"x", x}}, {{{"z", x}}}),
              "model 'Decoder': there is no output 'z' to write to a backing");
    EXPECT_EQ(model.callCount(), 4U);
}

TEST_F(ScriptedModelTest, AnswersFromAListUntilItIsUsedUp) {
    ScriptedModel model(describeModel({}, {{"y", {1}}, {"z", {1}}}),
                        ScriptedModel::cannedAnswers(
                            {{{"y", floats({1}, {1})}, {"z", floats({1}, {2})}}, {{"y", floats({3}, {4, 5, 6})}}}));
    const MLDictionaryFeatureProvider none({});
    EXPECT_THAT(values(*model.prediction(none), "z"), ElementsAre(2));
    const auto second = model.prediction(none);
    EXPECT_THAT(values(*second, "y"), ElementsAre(4, 5, 6));
    EXPECT_EQ(second->featureValue("z"), nullptr);
    EXPECT_THAT(second->featureNames(), ElementsAre("y"));
    EXPECT_EQ(refusal(model, {}), "no canned answer is left for call 2");
}

TEST_F(ScriptedModelTest, FailsAtTheCallThatIsChosen) {
    ScriptedModel model(describeModel({}, {{"y", {1}}}),
                        [](ScriptedModel::Call& call) { call.setFloat("y", static_cast<float>(call.index())); });
    model.failAt(1, "the network broke");
    const MLDictionaryFeatureProvider none({});
    EXPECT_THAT(values(*model.prediction(none), "y"), ElementsAre(0));
    EXPECT_EQ(refusal(model, {}), "the network broke");
    EXPECT_THAT(values(*model.prediction(none), "y"), ElementsAre(2));
}

TEST_F(ScriptedModelTest, RecordsWhatItWasGiven) {
    ScriptedModel model(describeModel({{"x", {2}}}, {{"y", {2}}}), [](ScriptedModel::Call&) {});
    model.startRecording();
    const auto x = withGaps({2}, {1, 2});
    model.prediction(MLDictionaryFeatureProvider({{"x", x}}), {{{"y", x}}});
    model.prediction(MLDictionaryFeatureProvider({{"x", x}}));
    const auto calls = model.recordedCalls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_THAT(values(*calls[0].inputs.at("x")), ElementsAre(1, 2));
    EXPECT_THAT(calls[0].backedOutputs, ElementsAre("y"));
    EXPECT_THAT(values(*calls[1].inputs.at("x")), ElementsAre(0, 0));
    EXPECT_TRUE(calls[1].backedOutputs.empty());
}

} // namespace
} // namespace VarnelSpeech
