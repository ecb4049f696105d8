#include "VarnelSpeech/Asr/AsrModels.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "support/EnvironmentScope.h"
#include "support/LogRecorder.h"
#include "support/OnnxModelBuilder.h"
#include "support/TemporaryFolder.h"
#include "support/TestHub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace VarnelSpeech {
namespace {

namespace fs = std::filesystem;
using DownloadUtils::Fetching;
using Level = AppLogger::Level;
using Shape = Testing::OnnxModelBuilder::Shape;
using testing::Contains;
using testing::HasSubstr;
using Testing::HubEnvironment;
using testing::IsEmpty;
using Testing::LogRecorder;
using Testing::OnnxElementType;
using Testing::OnnxModelBuilder;
using Testing::TemporaryFolder;
using Testing::TestHub;

struct Tensor {
    std::string name;
    Shape shape;
    OnnxElementType type = OnnxElementType::float32;
};

constexpr auto int32 = OnnxElementType::int32;

// A network of a declaration: every output is a constant.
struct Network {
    std::string name;
    std::vector<Tensor> inputs;
    std::vector<Tensor> outputs;

    void write(const fs::path& folder) const {
        OnnxModelBuilder builder;
        for (const Tensor& input : inputs)
            builder.input(input.name, input.shape, input.type);
        for (const Tensor& output : outputs) {
            Shape shape = output.shape;
            std::size_t count = 1;
            for (auto& size : shape)
                count *= static_cast<std::size_t>(size = std::max<std::int64_t>(size, 1));
            const std::string constant = output.name + "_value";
            if (output.type == int32)
                builder.constant(constant, shape, std::vector<std::int32_t>(count));
            else
                builder.constant(constant, shape, std::vector<float>(count));
            builder.node("Identity", {constant}, {output.name}).output(output.name, output.shape, output.type);
        }
        builder.writeBundle(folder / name);
    }
};

struct Networks {
    Network preprocessor{"Preprocessor.mlmodelc",
                         {{"audio_signal", {1, 240000}}, {"audio_length", {1}, int32}},
                         {{"mel", {1, 2, 2}}, {"mel_length", {1}, int32}}};
    Network encoder{"Encoder.mlmodelc",
                    {{"mel", {1, 2, 2}}, {"mel_length", {1}, int32}},
                    {{"encoder", {1, 1024, 2}}, {"encoder_length", {1}, int32}}};
    Network decoder{
        "Decoder.mlmodelc",
        {{"targets", {1, 1}, int32}, {"target_length", {1}, int32}, {"h_in", {2, 1, 640}}, {"c_in", {2, 1, 640}}},
        {{"decoder", {1, 640, 1}}, {"h_out", {2, 1, 640}}, {"c_out", {2, 1, 640}}}};
    Network joint{"JointDecision.mlmodelc",
                  {{"encoder_step", {1, 1024, 1}}, {"decoder_step", {1, 640, 1}}},
                  {{"token_id", {1, 1, 1}, int32}, {"token_prob", {1, 1, 1}}, {"duration", {1, 1, 1}, int32}}};

    void write(const fs::path& folder) const {
        for (const Network* network : {&preprocessor, &encoder, &decoder, &joint})
            network->write(folder);
    }
};

// What an operation throws as an AsrModelsError.
template <typename Operation>
AsrModelsError failure(Operation operation) {
    try {
        operation();
    } catch (const AsrModelsError& error) {
        return error;
    }
    throw std::logic_error("nothing was thrown");
}

class AsrModelsTest : public testing::Test {
protected:
    AsrModelsTest() {
        environment.unset("CI");
        environment.set("XDG_DATA_HOME", (root / "data").string());
    }

    void writeVocabulary(const std::string& text) const {
        fs::create_directories(folder);
        std::ofstream(folder / "parakeet_vocab.json", std::ios::binary) << text;
    }

    void writeSet() const {
        networks.write(folder);
        writeVocabulary(R"({"0": "▁the", "1": "cat"})");
    }

    AsrModels load() const { return AsrModels::load(folder, {}, AsrModelVersion::v3, Fetching::never); }

    // The text that a set with another network ends with.
    std::string refusal() const {
        writeSet();
        const auto error = failure([this] { load(); });
        EXPECT_EQ(error.error(), AsrModelsError::Case::loadingFailed);
        return error.what();
    }

    TestHub hub;
    HubEnvironment environment{hub.url()};
    TemporaryFolder root;
    const fs::path folder = root / "models/parakeet-tdt-0.6b-v3-coreml";
    Networks networks;
    LogRecorder log;
};

TEST(AsrModelsErrorText, IsFixedForEachCase) {
    EXPECT_STREQ(AsrModelsError::modelNotFound("parakeet_vocab.json", "/a/b").what(),
                 "ASR model 'parakeet_vocab.json' not found at: /a/b");
    EXPECT_STREQ(AsrModelsError::downloadFailed("x").what(), "Failed to download ASR models: x");
    EXPECT_STREQ(AsrModelsError::loadingFailed("x").what(), "Failed to load ASR models: x");
    EXPECT_STREQ(AsrModelsError::modelCompilationFailed("x").what(),
                 "Failed to compile ASR models: x. Try deleting the models and re-downloading.");
}

TEST_F(AsrModelsTest, HaveTheirRepositoryByVersion) {
    EXPECT_EQ(repo(AsrModelVersion::v2), Repo::parakeetV2);
    EXPECT_EQ(repo(AsrModelVersion::v3), Repo::parakeet);
    EXPECT_EQ(AsrModels::defaultCacheDirectory(), root / "data/VarnelSpeech/Models/parakeet-tdt-0.6b-v3-coreml");
    EXPECT_EQ(AsrModels::defaultCacheDirectory(AsrModelVersion::v2),
              root / "data/VarnelSpeech/Models/parakeet-tdt-0.6b-v2-coreml");
}

TEST_F(AsrModelsTest, RunOnTheNeuralEngineByDefaultAndOnTheProcessorInContinuousIntegration) {
    EXPECT_EQ(AsrModels::defaultConfiguration().computeUnits, MLComputeUnits::cpuAndNeuralEngine);
    EXPECT_TRUE(AsrModels::defaultConfiguration().allowLowPrecisionAccumulationOnGPU);
    environment.set("CI", "");
    EXPECT_EQ(AsrModels::defaultConfiguration().computeUnits, MLComputeUnits::cpuAndNeuralEngine);
    environment.set("CI", "true");
    EXPECT_EQ(AsrModels::defaultConfiguration().computeUnits, MLComputeUnits::cpuOnly);
    EXPECT_TRUE(AsrModels::defaultConfiguration().allowLowPrecisionAccumulationOnGPU);
}

TEST_F(AsrModelsTest, LoadWithTheirVocabulary) {
    writeSet();
    const AsrModels models = load();
    EXPECT_TRUE(models.preprocessor && models.encoder && models.decoder && models.joint);
    EXPECT_EQ(models.version, AsrModelVersion::v3);
    EXPECT_EQ(models.vocabulary, (Vocabulary{{0, "▁the"}, {1, "cat"}}));
    EXPECT_EQ(models.configuration.computeUnits, MLComputeUnits::cpuAndNeuralEngine);
    std::vector<std::string> lines;
    for (const auto& line : log.lines())
        if (line.category == "AsrModels")
            lines.push_back(line.message);
    EXPECT_THAT(
        lines, testing::ElementsAre("Loading ASR models with ANE optimization from: " + folder.string(),
                                    "Loaded Preprocessor.mlmodelc with compute units: cpuOnly",
                                    "Loaded Encoder.mlmodelc with compute units: cpuAndNeuralEngine",
                                    "Loaded Decoder.mlmodelc with compute units: cpuAndNeuralEngine",
                                    "Loaded JointDecision.mlmodelc with compute units: cpuAndNeuralEngine",
                                    "Loaded vocabulary with 2 tokens from " + (folder / "parakeet_vocab.json").string(),
                                    "Successfully loaded all ASR models with optimized compute units"));
}

TEST_F(AsrModelsTest, AllLoadOnTheProcessorInContinuousIntegration) {
    environment.set("CI", "1");
    writeSet();
    EXPECT_EQ(load().configuration.computeUnits, MLComputeUnits::cpuOnly);
    for (const char* name : {"Preprocessor", "Encoder", "Decoder", "JointDecision"})
        EXPECT_THAT(log.messages(Level::info),
                    Contains("Loaded " + std::string(name) + ".mlmodelc with compute units: cpuOnly"));
}

TEST_F(AsrModelsTest, TakeAConfigurationOverTheDefaultOne) {
    environment.set("CI", "1");
    writeSet();
    const AsrModels models = AsrModels::load(folder, MLModelConfiguration{.computeUnits = MLComputeUnits::all},
                                             AsrModelVersion::v3, Fetching::never);
    EXPECT_EQ(models.configuration.computeUnits, MLComputeUnits::all);
    EXPECT_THAT(log.messages(Level::info), Contains("Loaded Encoder.mlmodelc with compute units: all"));
    EXPECT_THAT(log.messages(Level::info), Contains("Loaded Preprocessor.mlmodelc with compute units: cpuOnly"));
}

TEST_F(AsrModelsTest, LoadFromAFolderNamedWithASlashAtItsEnd) {
    writeSet();
    EXPECT_NO_THROW(AsrModels::load(folder.string() + "/", {}, AsrModelVersion::v3, Fetching::never));
}

TEST_F(AsrModelsTest, TakeDimensionsThatAreNotFixed) {
    networks.preprocessor.inputs[0].shape = {1, -1};
    networks.encoder.outputs[0].shape = {1, -1, 1024};
    networks.decoder.outputs[0].shape = {1, 1, 640};
    writeSet();
    EXPECT_NO_THROW(load());
}

TEST_F(AsrModelsTest, SayWhichTensorIsMissing) {
    networks.joint.outputs[2].name = "length";
    EXPECT_EQ(refusal(), "Failed to load ASR models: JointDecision.mlmodelc: output 'duration' is missing");
}

TEST_F(AsrModelsTest, SayWhichInputHasAnotherName) {
    networks.preprocessor.inputs[0].name = "audio";
    EXPECT_EQ(refusal(), "Failed to load ASR models: Preprocessor.mlmodelc: input 'audio_signal' is missing");
}

TEST_F(AsrModelsTest, SayWhichTensorHasAnotherShape) {
    networks.decoder.inputs[2].shape = {1, 1, 640};
    EXPECT_EQ(
        refusal(),
        "Failed to load ASR models: Decoder.mlmodelc: input 'h_in' has the shape [1, 1, 640], expected [2, 1, 640]");
}

TEST_F(AsrModelsTest, SayThatTheEncoderHasAnotherWidth) {
    networks.encoder.outputs[0].shape = {1, 512, 2};
    EXPECT_EQ(refusal(), "Failed to load ASR models: Encoder.mlmodelc: output 'encoder' has the shape [1, 512, 2], "
                         "expected [1, 1024, T] or [1, T, 1024]");
}

TEST_F(AsrModelsTest, SayThatTheWindowIsAnother) {
    networks.preprocessor.inputs[0].shape = {1, 160000};
    EXPECT_THAT(refusal(), HasSubstr("'audio_signal' has the shape [1, 160000], expected [1, 240000]"));
}

TEST_F(AsrModelsTest, SayWhichTensorHasAnotherType) {
    networks.joint.outputs[0].type = OnnxElementType::float32;
    EXPECT_EQ(
        refusal(),
        "Failed to load ASR models: JointDecision.mlmodelc: output 'token_id' has the type Float32, expected Int32");
}

TEST_F(AsrModelsTest, SayWhichInputNobodyGives) {
    networks.encoder.inputs[0].name = "features";
    EXPECT_EQ(refusal(),
              "Failed to load ASR models: Encoder.mlmodelc: input 'features' is none that the recogniser gives");
}

TEST_F(AsrModelsTest, PassOnWhatIsWrongWithABundle) {
    writeSet();
    fs::remove(folder / "Decoder.mlmodelc" / "coremldata.bin");
    EXPECT_THROW(load(), ModelFileError);
    fs::remove_all(folder / "Decoder.mlmodelc");
    EXPECT_THROW(load(), ModelFileError);
    EXPECT_THAT(hub.requests(), IsEmpty());
}

TEST_F(AsrModelsTest, ExistWithFourBundlesAndTheVocabulary) {
    EXPECT_FALSE(AsrModels::modelsExist(folder));
    writeSet();
    EXPECT_TRUE(AsrModels::modelsExist(folder));
    for (const char* name : {"Preprocessor.mlmodelc", "Encoder.mlmodelc", "Decoder.mlmodelc", "JointDecision.mlmodelc",
                             "parakeet_vocab.json"}) {
        writeSet();
        fs::remove_all(folder / name);
        EXPECT_FALSE(AsrModels::modelsExist(folder)) << name;
    }
}

TEST_F(AsrModelsTest, AreValidWhenEachLoads) {
    EXPECT_FALSE(AsrModels::isModelValid(AsrModelVersion::v3, folder));
    EXPECT_THAT(log.messages(Level::info), Contains("Model validation failed: model files not found"));
    writeSet();
    EXPECT_TRUE(AsrModels::isModelValid(AsrModelVersion::v3, folder));
    std::ofstream(folder / "Encoder.mlmodelc/model.onnx", std::ios::app) << "!";
    EXPECT_FALSE(AsrModels::isModelValid(AsrModelVersion::v3, folder));
    EXPECT_THAT(log.messages(Level::error),
                Contains(testing::StartsWith("Model validation failed: Encoder.mlmodelc - ")));
    EXPECT_FALSE(AsrModels::isModelValid()); // the default folder
}

class AsrModelsDownloadTest : public AsrModelsTest {
protected:
    AsrModelsDownloadTest() {
        const TemporaryFolder source;
        networks.write(source.path());
        hub.addFolder("Riogleiz/parakeet-tdt-0.6b-v3-coreml", source.path());
        hub.addFile("Riogleiz/parakeet-tdt-0.6b-v3-coreml", "parakeet_vocab.json", R"({"7": "▁dog"})");
    }
};

TEST_F(AsrModelsDownloadTest, FetchesAndLoads) {
    const AsrModels models = AsrModels::downloadAndLoad(folder);
    EXPECT_EQ(models.vocabulary.at(7), "▁dog");
    EXPECT_THAT(log.messages(Level::info), Contains("Downloading ASR models to: " + folder.string()));
    EXPECT_THAT(log.messages(Level::info), Contains("Successfully downloaded ASR models"));
    EXPECT_THAT(log.messages(Level::info), Contains(testing::MatchesRegex("Compiled model Encoder.mlmodelc in "
                                                                          ".* ms :: cpuOnly")));
}

TEST_F(AsrModelsDownloadTest, FetchesTheVocabularyWhereItAloneIsMissing) {
    networks.write(folder);
    const AsrModels models = AsrModels::downloadAndLoad(folder);
    EXPECT_EQ(models.vocabulary.at(7), "▁dog");
    EXPECT_THAT(
        hub.requestsFor(TestHub::filePath("Riogleiz/parakeet-tdt-0.6b-v3-coreml", "Encoder.mlmodelc/model.onnx")),
        IsEmpty());
}

TEST_F(AsrModelsDownloadTest, UsesTheDefaultFolderWithoutAnother) {
    EXPECT_EQ(AsrModels::download(), AsrModels::defaultCacheDirectory());
    EXPECT_TRUE(AsrModels::modelsExist(AsrModels::defaultCacheDirectory()));
    EXPECT_TRUE(AsrModels::isModelValid());
}

TEST_F(AsrModelsDownloadTest, FetchesNothingThatIsThere) {
    AsrModels::download(folder);
    hub.forgetRequests();
    EXPECT_EQ(AsrModels::download(folder), folder);
    EXPECT_THAT(hub.requests(), IsEmpty());
    EXPECT_THAT(log.messages(Level::info), Contains("ASR models already present at: " + folder.string()));
}

TEST_F(AsrModelsDownloadTest, FetchesAllAgainByForce) {
    AsrModels::download(folder);
    std::ofstream(folder / "leftover") << "x";
    AsrModels::download(folder, true);
    EXPECT_FALSE(fs::exists(folder / "leftover"));
    EXPECT_TRUE(AsrModels::modelsExist(folder));
}

TEST_F(AsrModelsDownloadTest, RemovesALinkByForceAndNotItsTarget) {
    const TemporaryFolder outside;
    std::ofstream(outside / "precious") << "x";
    fs::create_directories(folder.parent_path());
    fs::create_directory_symlink(outside.path(), folder);
    AsrModels::download(folder.string() + "/", true);
    EXPECT_TRUE(fs::exists(outside / "precious"));
    EXPECT_FALSE(fs::is_symlink(folder));
}

class VocabularyTest : public AsrModelsTest {
protected:
    Vocabulary read(const std::string& text) const {
        writeVocabulary(text);
        return loadVocabulary(folder);
    }

    const std::string path = (folder / "parakeet_vocab.json").string();
};

TEST_F(VocabularyTest, TakesNumbersWithASignAndSkipsWhatIsNone) {
    EXPECT_EQ(read(R"({"+12": "a", "abc": "b", "": "c", "1x": "d", " 3": "e", "-4": "f", "007": "g", "+-5": "h",
                       "99999999999": "i", "1.5": "j", "2147483647": "k", "+": "l"})"),
              (Vocabulary{{12, "a"}, {-4, "f"}, {7, "g"}, {2147483647, "k"}}));
}

TEST_F(VocabularyTest, IsNotFound) {
    const auto error = failure([this] { loadVocabulary(folder); });
    EXPECT_EQ(error.error(), AsrModelsError::Case::modelNotFound);
    EXPECT_EQ(error.what(), "ASR model 'parakeet_vocab.json' not found at: " + path);
    EXPECT_THAT(log.messages(Level::error), Contains("Vocabulary file not found at " + path +
                                                     ". Please ensure the vocab file is downloaded with the models."));
}

TEST_F(VocabularyTest, MustBeAnObjectOfStrings) {
    for (const char* text :
         {"[]", "3", "null", R"("a")", R"({"1": 2})", R"({"1": null})", R"({"1": ["a"]})", R"({"x": {}})"}) {
        const auto error = failure([&] { read(text); });
        EXPECT_EQ(error.error(), AsrModelsError::Case::loadingFailed);
        EXPECT_STREQ(error.what(), "Failed to load ASR models: Vocabulary parsing failed") << text;
    }
}

TEST_F(VocabularyTest, ThatCannotBeReadIsAFailedLoad) {
    for (const char* text : {"", "{", "{\"1\": \"\xff\"}", "{\"1\": \"a\"} x"}) {
        const auto error = failure([&] { read(text); });
        EXPECT_EQ(error.error(), AsrModelsError::Case::loadingFailed) << text;
        EXPECT_THAT(log.messages(Level::error),
                    Contains(testing::StartsWith("Failed to load or parse vocabulary file at " + path + ": ")));
    }
    fs::remove(path);
    fs::create_directories(path);
    EXPECT_EQ(failure([this] { loadVocabulary(folder); }).error(), AsrModelsError::Case::loadingFailed);
}

TEST_F(VocabularyTest, OfNoSensibleSizeIsNotRead) {
    writeVocabulary("{}");
    fs::resize_file(path, (64U << 20U) + 1);
    EXPECT_THAT(failure([this] { loadVocabulary(folder); }).what(), HasSubstr("the file has more than 64 MiB"));
}

TEST_F(VocabularyTest, FailureEndsTheLoadAsItIs) {
    writeSet();
    writeVocabulary("[]");
    EXPECT_STREQ(failure([this] { load(); }).what(), "Failed to load ASR models: Vocabulary parsing failed");
    fs::remove(folder / "parakeet_vocab.json");
    EXPECT_EQ(failure([this] { load(); }).error(), AsrModelsError::Case::modelNotFound);
}

} // namespace
} // namespace VarnelSpeech
