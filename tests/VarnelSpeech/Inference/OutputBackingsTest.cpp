#include "VarnelSpeech/Inference/OnnxModelFixture.h"

#include <numeric>

namespace VarnelSpeech {
namespace {

using ::testing::ElementsAre;
using Testing::OnnxModelBuilder;
namespace TinyOnnxModels = Testing::TinyOnnxModels;

class OutputBackingsTest : public Testing::OnnxModelFixture {
protected:
    // States that make every output differ.
    static std::vector<float> ramp(std::size_t count, float start, float step) {
        std::vector<float> result(count);
        for (std::size_t index = 0; index < count; ++index)
            result[index] = start + step * static_cast<float>(index);
        return result;
    }
};

TEST_F(OutputBackingsTest, AreWrittenToAndReturned) {
    const auto model = load(TinyOnnxModels::addition({2}));
    const MLDictionaryFeatureProvider input({{"a", floats({2}, {1, 2})}, {"b", floats({2}, {10, 20})}});
    const auto backing = floats({2}, {0, 0});
    const auto result = model->prediction(input, {{{"sum", backing}}});
    EXPECT_EQ(result->featureValue("sum"), backing);
    EXPECT_THAT(values(*backing), ElementsAre(11, 22));
}

TEST_F(OutputBackingsTest, WithGapsAreWrittenThroughTheirStrides) {
    const auto model = load(TinyOnnxModels::identity({2, 2}));
    const auto backing = withGaps({2, 2}, {0, 0, 0, 0});
    const TensorExtent reach = extent(backing->shape(), backing->strides());
    const auto result =
        model->prediction(MLDictionaryFeatureProvider({{"x", floats({2, 2}, {1, 2, 3, 4})}}), {{{"y", backing}}});
    EXPECT_EQ(result->featureValue("y"), backing);
    EXPECT_THAT(values(*backing), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(std::count(backing->data<float>(), backing->data<float>() + reach.end, -1.0F), reach.end - 4);
}

TEST_F(OutputBackingsTest, MayChangeFromCallToCall) {
    const auto model = load(TinyOnnxModels::identity({2}));
    const auto x = floats({2}, {1, 2});
    const MLDictionaryFeatureProvider input({{"x", x}});
    const auto first = floats({2}, {0, 0});
    const auto second = withGaps({2}, {0, 0});
    model->prediction(input, {{{"y", first}}});
    x->data<float>()[0] = 5;
    model->prediction(input, {{{"y", second}}});
    x->data<float>()[0] = 7;
    const auto unbacked = model->prediction(input);
    EXPECT_THAT(values(*first), ElementsAre(1, 2));
    EXPECT_THAT(values(*second), ElementsAre(5, 2));
    EXPECT_THAT(values(*unbacked, "y"), ElementsAre(7, 2));
    x->data<float>()[0] = 9;
    model->prediction(input, {{{"y", first}}});
    EXPECT_THAT(values(*first), ElementsAre(9, 2));
    EXPECT_THAT(values(*second), ElementsAre(5, 2));
    EXPECT_THAT(values(*unbacked, "y"), ElementsAre(7, 2));
}

TEST_F(OutputBackingsTest, OfANullTensorCountAsNone) {
    const auto model = load(TinyOnnxModels::identity({1}));
    const auto result = model->prediction(MLDictionaryFeatureProvider({{"x", floats({1}, {4})}}), {{{"y", nullptr}}});
    EXPECT_THAT(values(*result, "y"), ElementsAre(4));
}

TEST_F(OutputBackingsTest, ServeOutputsOfAnyShape) {
    const auto model = load(TinyOnnxModels::freeLength());
    const auto twice = floats({3}, {0, 0, 0});
    const auto total = floats({1}, {0});
    const auto result = model->prediction(MLDictionaryFeatureProvider({{"x", floats({3}, {1, 2, 3})}}),
                                          {{{"twice", twice}, {"total", total}}});
    EXPECT_EQ(result->featureValue("twice"), twice);
    EXPECT_EQ(result->featureValue("total"), total);
    EXPECT_THAT(values(*twice), ElementsAre(2, 4, 6));
    EXPECT_THAT(values(*total), ElementsAre(12));
}

// The recurrent network's way of working: the states are overwritten by the call that reads them.
TEST_F(OutputBackingsTest, ThatAreInputsOfTheSameCallGiveWhatUnboundOutputsGive) {
    constexpr std::int64_t size = 640;
    const auto model = load(TinyOnnxModels::recurrentStep(size));
    const MLShape shape{2, 1, size};
    const auto x = floats(shape, ramp(2 * size, 0.5F, 0.25F));
    const auto hidden = floats(shape, ramp(2 * size, 1.0F, 0.125F));
    const auto cell = floats(shape, ramp(2 * size, -3.0F, 0.5F));
    auto freeHidden = floats(shape, values(*hidden));
    auto freeCell = floats(shape, values(*cell));
    for (int step = 0; step < 8; ++step) {
        const auto bound = model->prediction(MLDictionaryFeatureProvider({{"x", x}, {"h_in", hidden}, {"c_in", cell}}),
                                             {{{"h_out", hidden}, {"c_out", cell}}});
        const auto unbound =
            model->prediction(MLDictionaryFeatureProvider({{"x", x}, {"h_in", freeHidden}, {"c_in", freeCell}}));
        freeHidden = unbound->featureValue("h_out");
        freeCell = unbound->featureValue("c_out");
        EXPECT_EQ(bound->featureValue("h_out"), hidden);
        EXPECT_EQ(bound->featureValue("c_out"), cell);
        EXPECT_EQ(values(*bound, "y"), values(*unbound, "y")) << "step " << step;
        EXPECT_EQ(values(*hidden), values(*freeHidden)) << "step " << step;
        EXPECT_EQ(values(*cell), values(*freeCell)) << "step " << step;
    }
}

TEST_F(OutputBackingsTest, ThatSwapTheStatesGiveWhatUnboundOutputsGive) {
    const auto model = load(TinyOnnxModels::recurrentStep(4));
    const MLShape shape{2, 1, 4};
    const auto x = floats(shape, ramp(8, 1, 1));
    const auto hidden = floats(shape, ramp(8, 2, 3));
    const auto cell = floats(shape, ramp(8, 5, 7));
    const MLDictionaryFeatureProvider input({{"x", x}, {"h_in", hidden}, {"c_in", cell}});
    const auto unbound = model->prediction(input);
    const std::vector<float> expectedHidden = values(*unbound, "h_out");
    const std::vector<float> expectedCell = values(*unbound, "c_out");
    const std::vector<float> expectedY = values(*unbound, "y");
    model->prediction(input, {{{"h_out", cell}, {"c_out", hidden}, {"y", x}}});
    EXPECT_EQ(values(*cell), expectedHidden);
    EXPECT_EQ(values(*hidden), expectedCell);
    EXPECT_EQ(values(*x), expectedY);
}

TEST_F(OutputBackingsTest, ThatOverlapAnInputInPartGiveWhatUnboundOutputsGive) {
    const auto model = load(OnnxModelBuilder()
                                .input("x", {4})
                                .node("CumSum", {"x", "axis"}, {"y"})
                                .constant("axis", {}, std::vector<std::int32_t>{0})
                                .opset(14)
                                .output("y", {4}));
    std::vector<float> memory{1, 2, 3, 4, 0, 0};
    const auto view = [&](std::size_t offset) {
        return std::make_shared<MLMultiArray>(memory.data() + offset, MLShape{4}, MLMultiArrayDataType::float32,
                                              MLShape{1}, nullptr);
    };
    model->prediction(MLDictionaryFeatureProvider({{"x", view(0)}}), {{{"y", view(1)}}});
    EXPECT_THAT(memory, ElementsAre(1, 1, 3, 6, 10, 0));
}

TEST_F(OutputBackingsTest, ThatShareOneTensorLeaveTheLaterOutputInIt) {
    const auto model = load(TinyOnnxModels::recurrentStep(1));
    const MLShape shape{2, 1, 1};
    const auto shared = floats(shape, {0, 0});
    model->prediction(
        MLDictionaryFeatureProvider(
            {{"x", floats(shape, {1, 1})}, {"h_in", floats(shape, {10, 20})}, {"c_in", floats(shape, {3, 4})}}),
        {{{"h_out", shared}, {"c_out", shared}}});
    EXPECT_THAT(values(*shared), ElementsAre(7, 16)); // h_in - c_in, declared after 2 h_in + x + c_in
}

TEST_F(OutputBackingsTest, MayReverseAndPadTheState) {
    const auto model = load(TinyOnnxModels::recurrentStep(3));
    const MLShape shape{2, 1, 3};
    std::vector<float> memory(64, -1.0F);
    const auto hidden = std::make_shared<MLMultiArray>(memory.data() + 10, shape, MLMultiArrayDataType::float32,
                                                       MLShape{16, 16, -2}, nullptr);
    const std::vector<float> start{1, 2, 3, 4, 5, 6};
    scatter(start.data(), *hidden);
    const auto cell = floats(shape, {0, 0, 0, 0, 0, 0});
    const auto x = floats(shape, {1, 1, 1, 1, 1, 1});
    model->prediction(MLDictionaryFeatureProvider({{"x", x}, {"h_in", hidden}, {"c_in", cell}}), {{{"h_out", hidden}}});
    EXPECT_THAT(values(*hidden), ElementsAre(3, 5, 7, 9, 11, 13));
}

} // namespace
} // namespace VarnelSpeech
