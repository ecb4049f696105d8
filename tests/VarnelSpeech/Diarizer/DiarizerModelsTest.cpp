#include "VarnelSpeech/Diarizer/DiarizerModels.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Diarizer/DiarizerManager.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "support/EnvironmentScope.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "support/TinyDiarizerNetworks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

namespace fs = std::filesystem;
using DownloadUtils::Fetching;
using testing::Contains;
using testing::ElementsAre;
using Testing::OnnxElementType;
using Testing::OnnxModelBuilder;
namespace Networks = Testing::TinyDiarizerNetworks;

class DiarizerModelsTest : public testing::Test {
protected:
    DiarizerModelsTest() {
        environment.unset("CI");
        environment.set("XDG_DATA_HOME", (root / "data").string());
    }

    void write(const OnnxModelBuilder& segmentation, const OnnxModelBuilder& embedding) const {
        segmentation.writeBundle(folder / "pyannote_segmentation.mlmodelc");
        embedding.writeBundle(folder / "wespeaker_v2.mlmodelc");
    }

    DiarizerModels download() const { return DiarizerModels::download(folder, {}, Fetching::never); }

    // The text that both forms of loading end with.
    std::string refusal(const OnnxModelBuilder& segmentation, const OnnxModelBuilder& embedding) const {
        write(segmentation, embedding);
        const auto textOf = [](const auto& load) -> std::string {
            try {
                load();
            } catch (const DiarizerError& error) {
                EXPECT_EQ(error.error(), DiarizerError::Case::processingFailed);
                return error.what();
            }
            return "(no error)";
        };
        const std::string text = textOf([this] { download(); });
        EXPECT_EQ(textOf([this] { DiarizerModels::load(ModelPaths::inFolder(folder)); }), text);
        return text;
    }

    Testing::EnvironmentScope environment;
    Testing::TemporaryFolder root;
    const fs::path folder = root / "models/speaker-diarization-coreml";
    Testing::LogRecorder log;
};

TEST_F(DiarizerModelsTest, RunOnEverythingByDefaultAndOnTheNeuralEngineInContinuousIntegration) {
    EXPECT_EQ(DiarizerModels::defaultConfiguration().computeUnits, MLComputeUnits::all);
    EXPECT_TRUE(DiarizerModels::defaultConfiguration().allowLowPrecisionAccumulationOnGPU);
    EXPECT_EQ(DiarizerModels::defaultConfiguration().threading, MLThreading::twoThreads);
    environment.set("CI", "1");
    EXPECT_EQ(DiarizerModels::defaultConfiguration().computeUnits, MLComputeUnits::cpuAndNeuralEngine);
}

TEST_F(DiarizerModelsTest, LieInTheirRepositorysFolder) {
    EXPECT_EQ(DiarizerModels::defaultModelsDirectory(), root / "data/VarnelSpeech/Models/speaker-diarization-coreml");
    const ModelPaths paths = ModelPaths::inFolder("/a/b");
    EXPECT_EQ(paths.segmentationPath, "/a/b/pyannote_segmentation.mlmodelc");
    EXPECT_EQ(paths.embeddingPath, "/a/b/wespeaker_v2.mlmodelc");
}

TEST_F(DiarizerModelsTest, LoadFromTheirFolder) {
    write(Networks::segmentation(), Networks::embedding());
    for (const fs::path& path : {folder, folder / ""}) {
        const DiarizerModels models = DiarizerModels::download(path, {}, Fetching::never);
        EXPECT_TRUE(models.segmentationModel);
        EXPECT_TRUE(models.embeddingModel);
        EXPECT_GT(models.compilationDuration, 0);
    }
    EXPECT_THAT(log.lines(), Contains(Testing::LogRecorder::Line{AppLogger::Level::info, "DiarizerModels",
                                                                 "Checking for diarizer models..."}));
}

TEST_F(DiarizerModelsTest, LoadFromPathsOfTheirOwn) {
    Networks::segmentation().writeBundle(root / "a.mlmodelc");
    Networks::embedding().writeBundle(root / "b.mlmodelc");
    const DiarizerModels models = DiarizerModels::load({root / "a.mlmodelc", root / "b.mlmodelc"});
    EXPECT_EQ(models.segmentationModel->modelDescription().outputDescriptionsByName.count("segments"), 1U);
    EXPECT_EQ(models.embeddingModel->modelDescription().outputDescriptionsByName.count("embedding"), 1U);
    EXPECT_GT(models.compilationDuration, 0);
    EXPECT_THAT(log.messages(AppLogger::Level::info), Contains("Loading predownloaded models"));
}

TEST_F(DiarizerModelsTest, PassTheErrorsOfTheirLoadingOn) {
    EXPECT_THROW(download(), ModelFileError);
    Networks::segmentation().writeBundle(folder / "pyannote_segmentation.mlmodelc");
    EXPECT_THROW(DiarizerModels::load(ModelPaths::inFolder(folder)), MLModelError);
    EXPECT_THROW(download(), ModelFileError);
}

TEST_F(DiarizerModelsTest, NeedTheirTensorsByNameShapeAndType) {
    const auto segmentationRefusal = [this](const OnnxModelBuilder& network) {
        return refusal(network, Networks::embedding());
    };
    const auto embeddingRefusal = [this](const OnnxModelBuilder& network) {
        return refusal(Networks::segmentation(), network);
    };
    const std::string segmentation = "Processing failed: pyannote_segmentation.mlmodelc: ";
    const std::string embedding = "Processing failed: wespeaker_v2.mlmodelc: ";

    using Networks::constant;
    EXPECT_EQ(segmentationRefusal(constant({{"sound", {1, 1, 160000}}}, "segments", {1, 592, 7})),
              segmentation + "input 'audio' is missing");
    EXPECT_EQ(segmentationRefusal(constant({{"audio", {1, 1, 80000}}}, "segments", {1, 592, 7})),
              segmentation + "input 'audio' has the shape [1, 1, 80000], expected [1, 1, 160000]");
    EXPECT_EQ(segmentationRefusal(constant({{"audio", {1, 1, 160000}}, {"x", {1}}}, "segments", {1, 592, 7})),
              segmentation + "input 'x' is none that the diarizer gives");
    EXPECT_EQ(segmentationRefusal(constant({{"audio", {1, 1, 160000}}}, "scores", {1, 592, 7})),
              segmentation + "output 'segments' is missing");
    EXPECT_EQ(segmentationRefusal(constant({{"audio", {1, 1, 160000}}}, "segments", {1, 592, 8})),
              segmentation + "output 'segments' has the shape [1, 592, 8], expected [1, any, 7]");
    EXPECT_EQ(segmentationRefusal(constant({{"audio", {1, 1, 160000}}}, "segments", {592, 7})),
              segmentation + "output 'segments' has the shape [592, 7], expected [1, any, 7]");
    EXPECT_EQ(segmentationRefusal(constant({{"audio", {1, 1, 160000}}}, "segments", {1, 160001, 7})),
              segmentation + "output 'segments' has 160001 frames, expected 1 to 160000");
    EXPECT_EQ(
        segmentationRefusal(constant({{"audio", {1, 1, 160000}, OnnxElementType::int32}}, "segments", {1, 592, 7})),
        segmentation + "input 'audio' has the type Int32, expected Float32");

    EXPECT_EQ(embeddingRefusal(constant({{"waveform", {3, 160000}}}, "embedding", {3, 256})),
              embedding + "input 'mask' is missing");
    EXPECT_EQ(embeddingRefusal(constant({{"waveform", {3, 160000}}, {"mask", {3, 589}}}, "embedding", {3, 256})),
              embedding + "input 'mask' has the shape [3, 589], expected [3, 592]");
    EXPECT_EQ(embeddingRefusal(constant({{"waveform", {1, 160000}}, {"mask", {3, 592}}}, "embedding", {3, 256})),
              embedding + "input 'waveform' has the shape [1, 160000], expected [3, 160000]");
    EXPECT_EQ(embeddingRefusal(constant({{"waveform", {3, 160000}}, {"mask", {3, 592}}}, "embedding", {3, 192})),
              embedding + "output 'embedding' has the shape [3, 192], expected [3, 256]");
    EXPECT_EQ(embeddingRefusal(constant({{"waveform", {3, 160000}}, {"mask", {3, 592}}}, "voice", {3, 256})),
              embedding + "output 'embedding' is missing");
}

TEST_F(DiarizerModelsTest, MayLeaveTheNumberOfFramesOpen) {
    write(Networks::segmentation(), Networks::embedding(-1));
    EXPECT_TRUE(download().embeddingModel);
}

// The real runtime under the whole pipeline: the first half of each window is the first local speaker's.
TEST_F(DiarizerModelsTest, DiarizeOnTheRuntime) {
    write(Networks::segmentation(), Networks::embedding());
    DiarizerManager manager;
    manager.initialize(download());
    const auto segments = manager.diarize(std::vector<float>(320000, 0.5F)).segments;
    std::vector<std::string> speakers;
    for (const auto& segment : segments)
        speakers.push_back(segment.speakerId);
    EXPECT_THAT(speakers, ElementsAre("1", "2", "1", "2"));
    EXPECT_FLOAT_EQ(segments[0].endTimeSeconds, 296 * 0.016875F);
    EXPECT_FLOAT_EQ(segments[1].startTimeSeconds, 296 * 0.016875F);
}

} // namespace
} // namespace VarnelSpeech
