#include "VarnelSpeech/Inference/OnnxModel.h"

#include "VarnelSpeech/Inference/OnnxModelFixture.h"

#include <atomic>
#include <cstring>
#include <thread>

namespace VarnelSpeech {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Testing::OnnxElementType;
using Testing::OnnxModelBuilder;
using ::testing::StartsWith;
using Type = MLMultiArrayDataType;
namespace TinyOnnxModels = Testing::TinyOnnxModels;

class OnnxModelTest : public Testing::OnnxModelFixture {};

TEST_F(OnnxModelTest, ComputesFromNamedTensors) {
    const auto model = load(TinyOnnxModels::addition({2, 2}));
    const auto result = model->prediction(
        MLDictionaryFeatureProvider({{"a", floats({2, 2}, {1, 2, 3, 4})}, {"b", floats({2, 2}, {10, 20, 30, 40})}}));
    EXPECT_THAT(result->featureNames(), ElementsAre("sum"));
    EXPECT_THAT(values(*result, "sum"), ElementsAre(11, 22, 33, 44));
    EXPECT_EQ(result->featureValue("sum")->shape(), (MLShape{2, 2}));
    EXPECT_EQ(result->featureValue("a"), nullptr);
}

TEST_F(OnnxModelTest, ReadsTensorsWithGapsAndReversedAxes) {
    const auto model = load(TinyOnnxModels::identity({2, 3}));
    const std::vector<float> given{1, 2, 3, 4, 5, 6};
    EXPECT_EQ(values(*model->prediction(MLDictionaryFeatureProvider({{"x", withGaps({2, 3}, given)}})), "y"), given);

    std::vector<float> memory(given);
    const auto reversed =
        std::make_shared<MLMultiArray>(memory.data() + 5, MLShape{2, 3}, Type::float32, MLShape{-3, -1}, nullptr);
    EXPECT_THAT(values(*model->prediction(MLDictionaryFeatureProvider({{"x", reversed}})), "y"),
                ElementsAre(6, 5, 4, 3, 2, 1));
}

TEST_F(OnnxModelTest, SeesWhatIsNewInTheSameTensor) {
    const auto model = load(TinyOnnxModels::identity({3}));
    for (const auto& x : {floats({3}, {1, 2, 3}), withGaps({3}, {1, 2, 3})}) {
        const MLDictionaryFeatureProvider input({{"x", x}});
        EXPECT_THAT(values(*model->prediction(input), "y"), ElementsAre(1, 2, 3));
        const std::vector<float> changed{4, 5, 6};
        scatter(changed.data(), *x);
        EXPECT_THAT(values(*model->prediction(input), "y"), ElementsAre(4, 5, 6));
    }
}

TEST_F(OnnxModelTest, IsNotMisledByATensorThatTookAnothersPlace) {
    const auto model = load(TinyOnnxModels::identity({4}));
    for (int call = 0; call < 50; ++call) {
        const auto value = static_cast<float>(call);
        // Freed after each call, so that the next one is likely to lie at the same address.
        const auto x = call % 2 == 0 ? floats({4}, {value, 0, 0, value}) : withGaps({4}, {value, 0, 0, value});
        EXPECT_THAT(values(*model->prediction(MLDictionaryFeatureProvider({{"x", x}})), "y"),
                    ElementsAre(value, 0, 0, value));
    }
}

TEST_F(OnnxModelTest, HandlesEveryElementType) {
    struct Case {
        Type type;
        OnnxElementType onnx;
    };

    for (const Case& each : {Case{Type::int32, OnnxElementType::int32}, Case{Type::float64, OnnxElementType::float64},
                             Case{Type::float16, OnnxElementType::float16}}) {
        const auto model = load(TinyOnnxModels::identity({5}, each.onnx));
        EXPECT_EQ(model->modelDescription().outputDescriptionsByName.at("y").dataType, each.type);
        const auto x = MLMultiArray::make({5}, each.type);
        const std::size_t bytes = 5 * elementSize(each.type);
        for (std::size_t index = 0; index < bytes; ++index)
            x->data<unsigned char>()[index] = static_cast<unsigned char>(index % 60);
        const auto y = model->prediction(MLDictionaryFeatureProvider({{"x", x}}))->featureValue("y");
        EXPECT_EQ(y->dataType(), each.type);
        EXPECT_EQ(std::memcmp(x->rawData(), y->rawData(), bytes), 0) << name(each.type);
    }
}

TEST_F(OnnxModelTest, GivesIntegers) {
    const auto model = load(TinyOnnxModels::largest(4));
    const auto result = model->prediction(MLDictionaryFeatureProvider({{"x", floats({1, 4}, {0, 3, 9, 1})}}));
    EXPECT_EQ(result->featureValue("index")->data<std::int32_t>()[0], 2);
    EXPECT_EQ(result->featureValue("value")->data<float>()[0], 9.0F);
}

TEST_F(OnnxModelTest, GivesOutputsWhoseShapeDependsOnTheInput) {
    const auto model = load(TinyOnnxModels::freeLength());
    const auto longer = model->prediction(MLDictionaryFeatureProvider({{"x", floats({3}, {1, 2, 3})}}));
    const auto shorter = model->prediction(MLDictionaryFeatureProvider({{"x", floats({1}, {5})}}));
    EXPECT_THAT(values(*longer, "twice"), ElementsAre(2, 4, 6));
    EXPECT_THAT(values(*longer, "total"), ElementsAre(12));
    EXPECT_EQ(longer->featureValue("total")->shape(), (MLShape{1}));
    EXPECT_THAT(values(*shorter, "twice"), ElementsAre(10));
    const auto empty = model->prediction(MLDictionaryFeatureProvider({{"x", floats({0}, {})}}));
    EXPECT_EQ(empty->featureValue("twice")->count(), 0);
}

TEST_F(OnnxModelTest, LetsResultsOutliveTheModel) {
    auto model = load(TinyOnnxModels::freeLength());
    const auto result = model->prediction(MLDictionaryFeatureProvider({{"x", floats({2}, {1, 2})}}));
    model = nullptr;
    EXPECT_THAT(values(*result, "twice"), ElementsAre(2, 4));
}

TEST_F(OnnxModelTest, LeavesAResultAloneThatTheCallerHolds) {
    const auto model = load(TinyOnnxModels::identity({2}));
    std::vector<std::shared_ptr<const MLFeatureProvider>> results;
    std::vector<std::shared_ptr<MLMultiArray>> tensors;
    for (int call = 0; call < 20; ++call) {
        const auto value = static_cast<float>(call);
        results.push_back(model->prediction(MLDictionaryFeatureProvider({{"x", floats({2}, {value, -value})}})));
        tensors.push_back(results.back()->featureValue("y"));
        if (call % 3 == 0)
            results.back() = nullptr; // the tensor alone is held
    }
    for (int call = 0; call < 20; ++call) {
        const auto index = static_cast<std::size_t>(call);
        const auto value = static_cast<float>(call);
        EXPECT_THAT(values(*tensors[index]), ElementsAre(value, -value));
        if (results[index]) {
            EXPECT_EQ(results[index]->featureValue("y"), tensors[index]);
        }
    }
}

TEST_F(OnnxModelTest, HoldsNoInputAfterTheCall) {
    const auto model = load(TinyOnnxModels::identity({2}));
    const auto x = floats({2}, {1, 2});
    model->prediction(MLDictionaryFeatureProvider({{"x", x}}));
    EXPECT_EQ(x.use_count(), 1);
    EXPECT_NE(refusal(*model, {{"y", x}}), "(no error)");
    EXPECT_EQ(x.use_count(), 1);
}

TEST_F(OnnxModelTest, NamesAnInputThatIsMissing) {
    const auto model = load(TinyOnnxModels::addition({2}));
    EXPECT_EQ(refusal(*model, {{"a", floats({2}, {1, 2})}, {"c", floats({2}, {1, 2})}}),
              "model 'Tiny': input 'b' is missing");
}

TEST_F(OnnxModelTest, NamesAnInputThatDoesNotFit) {
    const auto model = load(TinyOnnxModels::identity({2, -1}));
    EXPECT_EQ(refusal(*model, {{"x", floats({3, 2}, {1, 2, 3, 4, 5, 6})}}),
              "model 'Tiny': input 'x' is Float32 [3, 2], expected Float32 [2, -1]");
    EXPECT_EQ(refusal(*model, {{"x", floats({2}, {1, 2})}}),
              "model 'Tiny': input 'x' is Float32 [2], expected Float32 [2, -1]");
    EXPECT_EQ(refusal(*model, {{"x", MLMultiArray::make({2, 2}, Type::int32)}}),
              "model 'Tiny': input 'x' is Int32 [2, 2], expected Float32 [2, -1]");
    EXPECT_EQ(refusal(*model, {{"x", floats({2, 3}, {1, 2, 3, 4, 5, 6})}}), "(no error)");
}

TEST_F(OnnxModelTest, NamesABackingThatDoesNotFit) {
    const auto model = load(TinyOnnxModels::identity({2}));
    const auto x = floats({2}, {1, 2});
    EXPECT_EQ(refusal(*model, {{"x", x}}, {{{"y", floats({3}, {1, 2, 3})}}}),
              "model 'Tiny': backing of output 'y' is Float32 [3], expected Float32 [2]");
    EXPECT_EQ(refusal(*model, {{"x", x}}, {{{"y", MLMultiArray::make({2}, Type::float64)}}}),
              "model 'Tiny': backing of output 'y' is Double [2], expected Float32 [2]");
    EXPECT_EQ(refusal(*model, {{"x", x}}, {{{"z", x}}}), "model 'Tiny': there is no output 'z' to write to a backing");
}

TEST_F(OnnxModelTest, NamesWhatDoesNotFitEachTimeItComes) {
    const auto model = load(TinyOnnxModels::identity({2}));
    const auto good = floats({2}, {1, 2});
    const auto bad = floats({3}, {1, 2, 3});
    for (int round = 0; round < 2; ++round) {
        EXPECT_THAT(refusal(*model, {{"x", bad}}), HasSubstr("input 'x' is Float32 [3]"));
        EXPECT_THAT(refusal(*model, {{"x", bad}}), HasSubstr("input 'x' is Float32 [3]"));
        EXPECT_THAT(refusal(*model, {{"x", good}}, {{{"y", bad}}}), HasSubstr("output 'y' is Float32 [3]"));
        EXPECT_THAT(refusal(*model, {{"x", good}}, {{{"y", bad}}}), HasSubstr("output 'y' is Float32 [3]"));
        EXPECT_THAT(values(*model->prediction(MLDictionaryFeatureProvider({{"x", good}})), "y"), ElementsAre(1, 2));
    }
}

TEST_F(OnnxModelTest, ReportsANetworkThatFailsAndWorksOn) {
    // Whether the two can be added shows only when it runs.
    const auto model =
        load(OnnxModelBuilder().input("a", {-1}).input("b", {-1}).node("Add", {"a", "b"}, {"sum"}).output("sum", {-1}));
    const auto a = floats({2}, {1, 2});
    EXPECT_THAT(refusal(*model, {{"a", a}, {"b", floats({3}, {1, 2, 3})}}), StartsWith("model 'Tiny': "));
    EXPECT_THAT(values(*model->prediction(MLDictionaryFeatureProvider({{"a", a}, {"b", a}})), "sum"),
                ElementsAre(2, 4));
}

TEST_F(OnnxModelTest, ReportsABackingThatTheNetworksOwnResultDoesNotFit) {
    const auto model = load(TinyOnnxModels::freeLength());
    const auto x = floats({3}, {1, 2, 3});
    EXPECT_THAT(refusal(*model, {{"x", x}}, {{{"twice", floats({2}, {7, 7})}}}), StartsWith("model 'Tiny': "));
    EXPECT_THAT(values(*model->prediction(MLDictionaryFeatureProvider({{"x", x}})), "twice"), ElementsAre(2, 4, 6));
}

TEST_F(OnnxModelTest, ServesSeveralThreadsOneAfterTheOther) {
    const auto model = load(TinyOnnxModels::addition({64}));
    std::atomic<int> wrong = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (int call = 0; call < 200; ++call) {
                const auto value = static_cast<float>(thread * 1000 + call);
                const auto a = floats({64}, std::vector<float>(64, value));
                const auto result = model->prediction(MLDictionaryFeatureProvider({{"a", a}, {"b", a}}));
                if (values(*result, "sum") != std::vector<float>(64, 2 * value))
                    ++wrong;
            }
        });
    threads.clear();
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace VarnelSpeech
