#include "VarnelSpeech/Inference/MLModel.h"

#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <gmock/gmock.h>

#include <fstream>

namespace VarnelSpeech {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using Testing::OnnxElementType;
using Testing::OnnxModelBuilder;
using ::testing::StartsWith;
using Testing::TemporaryFolder;
namespace TinyOnnxModels = Testing::TinyOnnxModels;

std::string refusal(const std::filesystem::path& bundle, const MLModelConfiguration& configuration = {}) {
    try {
        loadModel(bundle, configuration);
    } catch (const MLModelError& error) {
        return error.what();
    }
    return "(no error)";
}

TEST(LoadModel, DescribesTheNetwork) {
    const TemporaryFolder folder;
    TinyOnnxModels::largest(5).writeBundle(folder / "Largest.mlmodelc");
    const auto model = loadModel(folder / "Largest.mlmodelc", {});
    const MLModelDescription& description = model->modelDescription();
    ASSERT_EQ(description.inputDescriptionsByName.size(), 1U);
    EXPECT_EQ(description.inputDescriptionsByName.at("x").shape, (MLShape{1, 5}));
    EXPECT_EQ(description.inputDescriptionsByName.at("x").dataType, MLMultiArrayDataType::float32);
    ASSERT_EQ(description.outputDescriptionsByName.size(), 2U);
    EXPECT_EQ(description.outputDescriptionsByName.at("index").dataType, MLMultiArrayDataType::int32);
    EXPECT_EQ(description.outputDescriptionsByName.at("value").shape, (MLShape{1, 1}));
}

TEST(LoadModel, DescribesWhatIsNotFixed) {
    const TemporaryFolder folder;
    TinyOnnxModels::freeLength().writeBundle(folder / "Free.mlmodelc");
    const auto model = loadModel(folder / "Free.mlmodelc", {});
    EXPECT_EQ(model->modelDescription().inputDescriptionsByName.at("x").shape, (MLShape{-1}));
    EXPECT_EQ(model->modelDescription().outputDescriptionsByName.at("total").shape, (MLShape{1}));
}

TEST(LoadModel, WorksForEveryComputeUnitAndThreading) {
    const TemporaryFolder folder;
    TinyOnnxModels::addition({1, 3}).writeBundle(folder / "Addition.mlmodelc");
    const auto a = MLMultiArray::make({1, 3}, MLMultiArrayDataType::float32);
    const auto b = MLMultiArray::make({1, 3}, MLMultiArrayDataType::float32);
    a->data<float>()[1] = 2;
    b->data<float>()[1] = 3;
    for (const auto units :
         {MLComputeUnits::cpuOnly, MLComputeUnits::cpuAndGPU, MLComputeUnits::all, MLComputeUnits::cpuAndNeuralEngine})
        for (const auto threading : {MLThreading::allCores, MLThreading::twoThreads, MLThreading::callingThread}) {
            const auto model = loadModel(folder / "Addition.mlmodelc", {units, true, threading});
            const auto result = model->prediction(MLDictionaryFeatureProvider({{"a", a}, {"b", b}}));
            EXPECT_EQ(result->featureValue("sum")->data<float>()[1], 5.0F);
        }
}

TEST(LoadModel, TakesLargeWeightsFromAFileOfTheirOwn) {
    const TemporaryFolder folder;
    const auto bundle = folder / "External.mlmodelc";
    OnnxModelBuilder()
        .input("x", {1, 2})
        .externalConstant("weights", {2, 2}, {1, 2, 3, 4})
        .node("MatMul", {"x", "weights"}, {"y"})
        .output("y", {1, 2})
        .writeBundle(bundle);
    const auto x = MLMultiArray::make({1, 2}, MLMultiArrayDataType::float32);
    x->data<float>()[0] = 10;
    x->data<float>()[1] = 1;
    const auto y = loadModel(bundle, {})->prediction(MLDictionaryFeatureProvider({{"x", x}}))->featureValue("y");
    EXPECT_EQ(y->data<float>()[0], 13.0F);
    EXPECT_EQ(y->data<float>()[1], 24.0F);

    std::ofstream(bundle / "weights.bin") << "1234567890123456";
    EXPECT_THAT(refusal(bundle), AllOf(HasSubstr("weights.bin'"), HasSubstr("SHA-256 sum differs")));
    std::filesystem::remove(bundle / "weights.bin");
    EXPECT_THAT(refusal(bundle), AllOf(HasSubstr("weights.bin'"), HasSubstr("the file is missing")));
}

TEST(LoadModel, VerifiesBeforeItLoads) {
    const TemporaryFolder folder;
    const auto bundle = folder / "Identity.mlmodelc";
    TinyOnnxModels::identity({1}).writeBundle(bundle);
    std::filesystem::remove(bundle / "coremldata.bin");
    EXPECT_EQ(refusal(bundle), "cannot load model '" + bundle.string() + "': its marker coremldata.bin is missing");
}

TEST(LoadModel, SaysWhyTheRuntimeRefusesANetwork) {
    const TemporaryFolder folder;
    const auto bundle = folder / "Broken.mlmodelc";
    const auto prefix = "cannot load model '" + (bundle / "model.onnx").string() + "': ";
    std::filesystem::create_directory(bundle);
    std::ofstream(bundle / "model.onnx") << "this is no network";
    Testing::writeBundleManifest(bundle, {"model.onnx"});
    EXPECT_THAT(refusal(bundle), StartsWith(prefix));
    EXPECT_GT(refusal(bundle).size(), prefix.size());

    OnnxModelBuilder().input("x", {1}).node("NoSuchOperation", {"x"}, {"y"}).output("y", {1}).writeBundle(bundle);
    EXPECT_THAT(refusal(bundle), AllOf(StartsWith(prefix), HasSubstr("NoSuchOperation")));

    std::ofstream(bundle / "model.onnx", std::ios::trunc).flush();
    Testing::writeBundleManifest(bundle, {"model.onnx"});
    EXPECT_THAT(refusal(bundle), StartsWith(prefix));
}

TEST(LoadModel, RefusesElementTypesWithoutATensorOfOurs) {
    const TemporaryFolder folder;
    const auto bundle = folder / "Long.mlmodelc";
    const auto prefix = "cannot load model '" + (bundle / "model.onnx").string() + "': ";
    TinyOnnxModels::identity({1}, OnnxElementType::int64).writeBundle(bundle);
    EXPECT_EQ(refusal(bundle), prefix + "its input 'x' has an element type that is not supported (int64)");
    OnnxModelBuilder()
        .input("x", {1})
        .node("Cast", {"x"}, {"y"}, {{"to", static_cast<std::int64_t>(OnnxElementType::boolean)}})
        .output("y", {1}, OnnxElementType::boolean)
        .writeBundle(bundle);
    EXPECT_EQ(refusal(bundle), prefix + "its output 'y' has an element type that is not supported (bool)");
}

TEST(LoadModel, TakesAFolderWhoseNameIsNoUtf8) {
    const TemporaryFolder folder;
    const auto bundle = folder / "caf\xE9 \"1\"\n.mlmodelc";
    TinyOnnxModels::identity({1}).writeBundle(bundle);
    EXPECT_EQ(refusal(bundle), "(no error)");
}

} // namespace
} // namespace VarnelSpeech
