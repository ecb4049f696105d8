#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/RepositoryListingError.h"
#include "support/FileText.h"
#include "support/HubModels.h"
#include "support/HubTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stop_token>
#include <thread>

namespace VarnelSpeech {
namespace {

namespace fs = std::filesystem;
using DownloadUtils::Fetching;
using Level = AppLogger::Level;
using Testing::addModels;
using Testing::bundleNames;
using testing::Contains;
using testing::HasSubstr;
using Testing::HubEnvironment;
using Testing::HubFault;
using Testing::hubFilePath;
using Testing::hubListingPath;
using testing::IsEmpty;
using testing::Not;
using Testing::putFile;
using testing::SizeIs;
using Testing::TemporaryFolder;
using Testing::TestHub;

const std::string bundle = "silero-vad-unified-256ms-v6.0.0.mlmodelc";

class LoadModelsTest : public Testing::HubTest {
protected:
    LoadModelsTest() { addModels(hub, Repo::vad); }

    DownloadUtils::LoadedModels load(Repo repo = Repo::vad, std::string_view variant = {},
                                     Fetching fetching = Fetching::whenMissing) {
        return DownloadUtils::loadModels(repo, bundleNames(repo, variant), root.path(),
                                         {.computeUnits = MLComputeUnits::cpuOnly}, variant, fetching, config);
    }

    std::size_t listings() const { return hub.requestsFor(hubListingPath(Repo::vad)).size(); }
};

TEST_F(LoadModelsTest, FetchesWhatIsMissingAndLoadsIt) {
    const auto models = load();
    ASSERT_THAT(models, SizeIs(1));
    EXPECT_TRUE(models.at(bundle)->modelDescription().inputDescriptionsByName.contains("x"));
    const auto lines = log.messages(Level::info);
    EXPECT_THAT(lines, Contains("Models not found in cache at " + folder.string()));
    EXPECT_THAT(lines,
                Contains(testing::MatchesRegex("Compiled model " + bundle + " in [0-9]+\\.[0-9][0-9] ms :: cpuOnly")));
    EXPECT_THAT(log.messages(Level::warning), IsEmpty());
}

TEST_F(LoadModelsTest, AsksNoHubForWhatIsThere) {
    load();
    hub.forgetRequests();
    load();
    EXPECT_THAT(hub.requests(), IsEmpty());
    EXPECT_THAT(log.messages(Level::info), Contains("Found silero-vad-coreml locally, no download needed"));
}

TEST_F(LoadModelsTest, LogsTheHostOnceForAllLoads) {
    load();
    load();
    std::size_t lines = 0;
    for (const auto& message : log.messages(Level::info))
        lines += message.starts_with("Host environment: ") ? 1 : 0;
    EXPECT_LE(lines, 1U); // an earlier test of the process may have had it
}

TEST_F(LoadModelsTest, DeletesABundleWithoutItsMarkerAndFetchesItAgain) {
    load();
    fs::remove(folder / bundle / "coremldata.bin");
    putFile(folder / "leftover", "x");
    hub.forgetRequests();
    EXPECT_THAT(load(), SizeIs(1));
    EXPECT_TRUE(fs::exists(folder / bundle / "coremldata.bin"));
    EXPECT_FALSE(fs::exists(folder / "leftover"));
    EXPECT_EQ(listings(), 1U);
    EXPECT_THAT(log.messages(Level::error), Contains("Missing coremldata.bin in " + bundle));
    EXPECT_THAT(log.messages(Level::warning),
                Contains("First load failed: Missing coremldata.bin in model: " + bundle));
    EXPECT_THAT(log.messages(Level::info), Contains("Deleting cache and re-downloading…"));
}

TEST_F(LoadModelsTest, FetchesABundleAgainWhoseSumDiffers) {
    load();
    std::ofstream(folder / bundle / "model.onnx", std::ios::app) << "!";
    EXPECT_THAT(load(), SizeIs(1));
    EXPECT_THAT(log.messages(Level::warning), Contains(HasSubstr("First load failed: ")));
}

TEST_F(LoadModelsTest, ReportsASecondFailureAndLeavesTheFolder) {
    hub.addFile("Riogleiz/silero-vad-coreml", bundle + "/model.onnx", "not the network of the manifest");
    EXPECT_THROW(load(), MLModelError);
    EXPECT_TRUE(fs::exists(folder / bundle / "model.onnx"));
    EXPECT_THAT(log.messages(Level::warning), SizeIs(1));
    // Fetched twice, not more.
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, bundle + "/model.onnx")), SizeIs(2));
}

TEST_F(LoadModelsTest, WantsADirectoryForEachBundle) {
    putFile(folder / bundle, "a file");
    try {
        load(Repo::vad, {}, Fetching::never);
        FAIL();
    } catch (const ModelFileError& error) {
        EXPECT_EQ(error.error(), ModelFileError::Case::fileReadCorruptFile);
        EXPECT_EQ(error.path(), folder / bundle);
    }
    EXPECT_THAT(log.messages(Level::error), Contains("Model path is not a directory: " + bundle));
    EXPECT_THAT(load(), SizeIs(1)); // the file gives way to what the hub has
}

TEST_F(LoadModelsTest, NamesABundleThatIsMissingAfterTheDownloadToo) {
    const auto loadUnknown = [&] {
        return DownloadUtils::loadModels(Repo::vad, {"Unknown.mlmodelc"}, root.path(), {}, {}, Fetching::whenMissing);
    };
    try {
        loadUnknown();
        FAIL();
    } catch (const ModelFileError& error) {
        EXPECT_EQ(error.error(), ModelFileError::Case::fileNoSuchFile);
        EXPECT_EQ(error.path(), folder / "Unknown.mlmodelc");
    }
    EXPECT_THAT(log.messages(Level::error), Contains("Model file not found: Unknown.mlmodelc"));
}

TEST_F(LoadModelsTest, TouchesNothingWhereItMayNotFetch) {
    EXPECT_THROW(load(Repo::vad, {}, Fetching::never), ModelFileError);
    EXPECT_FALSE(fs::exists(folder));
    load();
    fs::remove(folder / bundle / "coremldata.bin");
    hub.forgetRequests();
    EXPECT_THROW(load(Repo::vad, {}, Fetching::never), ModelFileError);
    EXPECT_TRUE(fs::exists(folder / bundle / "model.onnx"));
    EXPECT_FALSE(fs::exists(folder / bundle / "coremldata.bin"));
    EXPECT_THAT(hub.requests(), IsEmpty());
    EXPECT_THAT(log.messages(Level::warning), IsEmpty());
}

TEST_F(LoadModelsTest, LeavesADamagedCacheWhereTheHubHasNothingForThisProgram) {
    load();
    fs::remove(folder / bundle / "coremldata.bin");
    hub.removeFile("Riogleiz/silero-vad-coreml", bundle + "/model.onnx");
    EXPECT_THROW(load(), RepositoryListingError);
    EXPECT_TRUE(fs::exists(folder / bundle / "model.onnx"));
    EXPECT_THAT(log.messages(Level::info), Not(Contains("Deleting cache and re-downloading…")));
}

TEST_F(LoadModelsTest, LeavesADamagedCacheWhereTheHubDoesNotAnswer) {
    load();
    fs::remove(folder / bundle / "coremldata.bin");
    hub.setFault(hubListingPath(Repo::vad), HubFault::withStatus(429));
    EXPECT_THROW(load(), HuggingFaceDownloadError);
    EXPECT_TRUE(fs::exists(folder / bundle / "model.onnx"));
}

TEST_F(LoadModelsTest, FetchesOnWhereARunWasCutShortThoughEveryNameIsThere) {
    const std::string network = bundle + "/model.onnx";
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::stallAt(40));
    std::stop_source stop;
    config.stop = stop.get_token();
    config.progress = [&](const DownloadUtils::Progress& step) {
        if (step.path == network && step.bytesDone == 40)
            stop.request_stop();
    };
    EXPECT_THROW(load(), HttpTransportError);
    EXPECT_TRUE(fs::exists(folder / bundle / "coremldata.bin"));
    EXPECT_THAT(log.messages(Level::warning), IsEmpty()); // a cancelled download is no failed load
    config = {};
    hub.clearFault(hubFilePath(Repo::vad, network));
    hub.forgetRequests();
    EXPECT_THAT(load(), SizeIs(1));
    EXPECT_EQ(hub.requestsFor(hubFilePath(Repo::vad, network)).at(0).header("range"), "bytes=40-");
    EXPECT_THAT(log.messages(Level::warning), IsEmpty());
}

TEST_F(LoadModelsTest, KeepsTheOtherVariantsBundlesWhenOneFails) {
    addModels(hub, Repo::diarizer);
    addModels(hub, Repo::diarizer, "offline");
    load(Repo::diarizer);
    load(Repo::diarizer, "offline");
    const fs::path diarizer = root / "speaker-diarization-coreml";
    putFile(diarizer / "wespeaker_v2.mlmodelc" / "mark", "x");
    putFile(diarizer / "FBank.mlmodelc" / "mark", "x");
    fs::remove(diarizer / "Embedding.mlmodelc" / "coremldata.bin");
    EXPECT_THAT(load(Repo::diarizer, "offline"), SizeIs(4));
    EXPECT_TRUE(fs::exists(diarizer / "wespeaker_v2.mlmodelc" / "mark"));
    EXPECT_FALSE(fs::exists(diarizer / "FBank.mlmodelc" / "mark"));
    putFile(diarizer / "FBank.mlmodelc" / "mark", "x");
    fs::remove(diarizer / "wespeaker_v2.mlmodelc" / "coremldata.bin");
    EXPECT_THAT(load(Repo::diarizer), SizeIs(2));
    EXPECT_FALSE(fs::exists(diarizer / "wespeaker_v2.mlmodelc" / "mark"));
    EXPECT_TRUE(fs::exists(diarizer / "FBank.mlmodelc" / "mark"));
    EXPECT_TRUE(fs::exists(diarizer / "plda-parameters.json"));
}

TEST_F(LoadModelsTest, RemovesALinkInPlaceOfTheFolderAndNotItsTarget) {
    const TemporaryFolder outside;
    putFile(outside / bundle / "precious", "x");
    fs::create_directory_symlink(outside.path(), folder);
    EXPECT_THAT(load(), SizeIs(1)); // the bundle behind the link has no marker
    EXPECT_TRUE(fs::exists(outside / bundle / "precious"));
    EXPECT_FALSE(fs::is_symlink(folder));
}

// Asks for a stop as soon as a network has been loaded.
class StopAtFirstModel final : public AppLogger::Sink {
public:
    explicit StopAtFirstModel(std::stop_source& stop) : stop_(stop) {}

    void write(const AppLogger::Line& line) override {
        if (!line.message.starts_with("Compiled model "))
            return;
        ++loaded;
        stop_.request_stop();
    }

    int loaded = 0;

private:
    std::stop_source& stop_;
};

TEST_F(LoadModelsTest, StopsBetweenTwoNetworksAndTouchesNothing) {
    addModels(hub, Repo::parakeet);
    load(Repo::parakeet);
    hub.forgetRequests();
    for (const Fetching fetching : {Fetching::never, Fetching::whenMissing}) {
        std::stop_source stop;
        config.stop = stop.get_token();
        const auto sink = std::make_shared<StopAtFirstModel>(stop);
        const auto before = AppLogger::setSink(sink);
        try {
            load(Repo::parakeet, {}, fetching);
            ADD_FAILURE() << "no error";
        } catch (const HttpTransportError& error) {
            EXPECT_EQ(error.error(), HttpTransportError::Case::cancelled);
            EXPECT_STREQ(error.what(), "Loading the models was cancelled.");
        }
        AppLogger::setSink(before);
        EXPECT_EQ(sink->loaded, 1);
    }
    EXPECT_THAT(hub.requests(), IsEmpty());
    config.stop = {};
    EXPECT_THAT(load(Repo::parakeet), SizeIs(4));
}

TEST_F(LoadModelsTest, LoadsTheSetsOfOneRepositoryInTurns) {
    std::vector<std::jthread> threads;
    std::atomic<int> loaded = 0;
    for (int index = 0; index < 4; ++index)
        threads.emplace_back([&] { loaded += static_cast<int>(load().size()); });
    threads.clear();
    EXPECT_EQ(loaded, 4);
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, bundle + "/model.onnx")), SizeIs(1));
}

} // namespace
} // namespace VarnelSpeech
