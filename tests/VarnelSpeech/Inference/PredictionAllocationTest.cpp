#include "VarnelSpeech/Inference/AllocationCounter.h"
#include "VarnelSpeech/Inference/OnnxModelFixture.h"
#include "support/ScriptedModel.h"

namespace VarnelSpeech {
namespace {

using Testing::ScriptedModel;
namespace TinyOnnxModels = Testing::TinyOnnxModels;

class PredictionAllocationTest : public Testing::OnnxModelFixture {
protected:
    // Own allocations of `calls` calls after a few that settle the pools.
    template <typename Operation>
    int allocationsOf(Operation operation) {
        for (int call = 0; call < 8; ++call)
            operation();
        const Testing::AllocationCounter counter;
        for (int call = 0; call < 100; ++call)
            operation();
        const int ownAllocations = counter.ownAllocations();
        RecordProperty("runtimeAllocationsPer100Calls", counter.runtimeAllocations());
        return ownAllocations;
    }
};

TEST_F(PredictionAllocationTest, TheCounterSeesAnAllocation) {
    std::vector<std::unique_ptr<float>> kept(1); // what is kept cannot be optimised away
    EXPECT_EQ(allocationsOf([&] { kept[0] = std::make_unique<float>(1.0F); }), 100);
}

TEST_F(PredictionAllocationTest, SteadyCallsWithBackingsAllocateNothingOfOurs) {
    const auto model = load(TinyOnnxModels::largest(64));
    const MLDictionaryFeatureProvider input({{"x", floats({1, 64}, std::vector<float>(64))}});
    const MLPredictionOptions options{{{"index", MLMultiArray::make({1, 1}, MLMultiArrayDataType::int32)},
                                       {"value", MLMultiArray::make({1, 1}, MLMultiArrayDataType::float32)}}};
    EXPECT_EQ(allocationsOf([&] { model->prediction(input, options); }), 0);
}

TEST_F(PredictionAllocationTest, SteadyCallsOnTheirOwnStateAllocateNothingOfOurs) {
    const auto model = load(TinyOnnxModels::recurrentStep(640));
    const MLShape shape{2, 1, 640};
    const auto zeros = [&] { return MLMultiArray::make(shape, MLMultiArrayDataType::float32); };
    const auto hidden = zeros();
    const auto cell = zeros();
    const MLDictionaryFeatureProvider input({{"x", zeros()}, {"h_in", hidden}, {"c_in", cell}});
    const MLPredictionOptions options{{{"h_out", hidden}, {"c_out", cell}}};
    // The projection is kept while the next call runs, as a decoder keeps it.
    std::shared_ptr<MLMultiArray> kept;
    EXPECT_EQ(allocationsOf([&] { kept = model->prediction(input, options)->featureValue("y"); }), 0);
}

TEST_F(PredictionAllocationTest, SteadyCallsOnTensorsWithGapsAllocateNothingOfOurs) {
    const auto model = load(TinyOnnxModels::identity({4, 4}));
    const MLDictionaryFeatureProvider input({{"x", withGaps({4, 4}, std::vector<float>(16, 1.0F))}});
    const MLPredictionOptions options{{{"y", withGaps({4, 4}, std::vector<float>(16))}}};
    EXPECT_EQ(allocationsOf([&] { model->prediction(input, options); }), 0);
}

TEST_F(PredictionAllocationTest, SteadyCallsWithoutBackingsAllocateNothingOfOurs) {
    const auto model = load(TinyOnnxModels::addition({16}));
    const auto a = floats({16}, std::vector<float>(16, 2.0F));
    const MLDictionaryFeatureProvider input({{"a", a}, {"b", a}});
    EXPECT_EQ(allocationsOf([&] { model->prediction(input); }), 0);
}

TEST_F(PredictionAllocationTest, AScriptedModelAllocatesNothing) {
    ScriptedModel model(Testing::describeModel({{"x", {1, 4}}}, {{"y", {1, 4}}, {"z", {1}}}),
                        [](ScriptedModel::Call& call) { call.setFloat("y", call.inputFloat("x", 2), 1); });
    const MLDictionaryFeatureProvider input({{"x", floats({1, 4}, {1, 2, 3, 4})}});
    const MLPredictionOptions options{{{"y", floats({1, 4}, {0, 0, 0, 0})}}};
    std::shared_ptr<MLMultiArray> kept;
    EXPECT_EQ(allocationsOf([&] { kept = model.prediction(input, options)->featureValue("z"); }), 0);
}

} // namespace
} // namespace VarnelSpeech
