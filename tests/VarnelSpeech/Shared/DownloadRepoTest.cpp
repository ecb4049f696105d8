#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpError.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/RepositoryListingError.h"
#include "support/FileText.h"
#include "support/HubModels.h"
#include "support/HubTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <set>
#include <thread>

namespace VarnelSpeech {
namespace {

namespace fs = std::filesystem;
using Level = AppLogger::Level;
using Testing::addModels;
using Testing::contentsOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::HubEnvironment;
using Testing::HubFault;
using Testing::hubFilePath;
using Testing::hubListingPath;
using testing::IsEmpty;
using Testing::putFile;
using testing::SizeIs;
using Testing::TemporaryFolder;
using Testing::TestHub;

const std::string bundle = "silero-vad-unified-256ms-v6.0.0.mlmodelc";
const std::string network = bundle + "/model.onnx";
const std::string vadRepository = "Riogleiz/silero-vad-coreml";

class DownloadRepoTest : public Testing::HubTest {
protected:
    DownloadRepoTest() {
        addModels(hub, Repo::vad);
        hub.addFile(vadRepository, network, weights);
    }

    void download(Repo repo = Repo::vad) { DownloadUtils::downloadRepo(repo, root.path(), {}, config); }

    // Every file below the repository's folder, markers and temporary files included.
    std::set<std::string> filesOnDisk() const {
        std::set<std::string> files;
        if (fs::exists(folder))
            for (const auto& entry : fs::recursive_directory_iterator(folder))
                if (!entry.is_directory())
                    files.insert(entry.path().lexically_relative(folder).string());
        return files;
    }

    static std::string numberedBytes(std::size_t count) {
        std::string bytes(count, '\0');
        for (std::size_t index = 0; index < count; ++index)
            bytes[index] = static_cast<char>(index * 7 + index / 251);
        return bytes;
    }

    const std::string weights = numberedBytes(100'000);
};

TEST_F(DownloadRepoTest, BringsEveryFileAndTellsOfIt) {
    download();
    EXPECT_THAT(filesOnDisk(), ElementsAre(bundle + "/coremldata.bin", network));
    EXPECT_EQ(contentsOf(folder / network), weights);
    EXPECT_THAT(log.messages(Level::info),
                ElementsAre("Downloading silero-vad-coreml from HuggingFace...", "Found 2 files to download",
                            "Downloaded 2 files", "Downloaded all required models for silero-vad-coreml"));
    EXPECT_FALSE(DownloadUtils::isFetchUnfinished(folder));
}

TEST_F(DownloadRepoTest, KeepsItsFilesFromOtherUsers) {
    download();

    struct stat status {};

    ASSERT_EQ(::stat((folder / network).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_EQ(::stat((folder / bundle).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(DownloadRepoTest, KeepsTheSubfolderInTheAddressAndOutOfTheDestination) {
    addModels(hub, Repo::parakeetEou320);
    download(Repo::parakeetEou320);
    EXPECT_TRUE(fs::exists(root / "parakeet-eou-streaming/320ms/decoder.mlmodelc/model.onnx"));
    EXPECT_TRUE(fs::exists(root / "parakeet-eou-streaming/320ms/vocab.json"));
    EXPECT_THAT(hub.requestsFor("/Riogleiz/parakeet-realtime-eou-120m-coreml/resolve/main/320ms/vocab.json"),
                SizeIs(1));
}

TEST_F(DownloadRepoTest, EscapesPathsInAddresses) {
    hub.addFile(vadRepository, "a b%20#?ü.json", "odd");
    download();
    EXPECT_EQ(contentsOf(folder / "a b%20#?ü.json"), "odd");
    std::vector<std::string> targets;
    for (const auto& request : hub.requests())
        targets.push_back(request.target);
    EXPECT_THAT(targets, testing::Contains("/" + vadRepository + "/resolve/main/a%20b%2520%23%3F%C3%BC.json"));
}

TEST_F(DownloadRepoTest, SkipsWhatIsThereAndFetchesWhatIsEmpty) {
    putFile(folder / network, "mine");
    putFile(folder / bundle / "coremldata.bin", "");
    download();
    EXPECT_EQ(contentsOf(folder / network), "mine");
    EXPECT_NE(contentsOf(folder / bundle / "coremldata.bin"), "");
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, network)), IsEmpty());
}

TEST_F(DownloadRepoTest, TellsOfItsProgress) {
    std::vector<DownloadUtils::Progress> steps;
    config.progress = [&](const DownloadUtils::Progress& step) { steps.push_back(step); };
    download();
    ASSERT_FALSE(steps.empty());
    EXPECT_EQ(steps.back().path, network);
    EXPECT_EQ(steps.back().fileIndex, 1U);
    EXPECT_EQ(steps.back().fileCount, 2U);
    EXPECT_EQ(steps.back().bytesDone, weights.size());
    EXPECT_EQ(steps.back().bytesTotal, weights.size());
    for (std::size_t index = 1; index < steps.size(); ++index)
        EXPECT_TRUE(steps[index].fileIndex > steps[index - 1].fileIndex ||
                    steps[index].bytesDone >= steps[index - 1].bytesDone);
}

TEST_F(DownloadRepoTest, RefusesAListingWithoutNetworksBeforeTheFirstByte) {
    hub.removeFile(vadRepository, network);
    hub.addFile(vadRepository, bundle + "/model.mil", "another runtime's");
    try {
        download();
        FAIL();
    } catch (const RepositoryListingError& error) {
        EXPECT_EQ(error.error(), RepositoryListingError::Case::missingModelFile);
        EXPECT_STREQ(error.what(), ("The model hub's repository Riogleiz/silero-vad-coreml has no models for this "
                                    "program: '" +
                                    network + "' is missing from its listing. Nothing was downloaded or deleted.")
                                       .c_str());
    }
    EXPECT_FALSE(fs::exists(folder));
    for (const auto& request : hub.requests())
        EXPECT_THAT(request.path, testing::StartsWith("/api/"));
}

TEST_F(DownloadRepoTest, EndsAtARateLimit) {
    for (const int status : {429, 503}) {
        hub.setFault(hubFilePath(Repo::vad, network), HubFault::withStatus(status));
        try {
            download();
            FAIL();
        } catch (const HuggingFaceDownloadError& error) {
            EXPECT_EQ(error.statusCode(), status);
            EXPECT_EQ(std::string(error.what()),
                      "Hugging Face rate limit encountered: Rate limited while downloading " + network);
        }
    }
    EXPECT_FALSE(fs::exists(folder / network));
}

TEST_F(DownloadRepoTest, PassesOtherStatusesOnWithTheirNumber) {
    for (const int status : {401, 403, 404, 410, 500}) {
        hub.setFault(hubFilePath(Repo::vad, network), HubFault::withStatus(status));
        try {
            download();
            FAIL();
        } catch (const HttpError& error) {
            EXPECT_EQ(error.statusCode(), status);
            EXPECT_EQ(std::string(error.what()), "HTTP " + std::to_string(status) + " while downloading " + network);
        }
    }
}

TEST_F(DownloadRepoTest, SaysWhyAFileDidNotArrive) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::redirectTo(hubFilePath(Repo::vad, network)));
    try {
        download();
        FAIL();
    } catch (const HuggingFaceDownloadError& error) {
        EXPECT_EQ(error.error(), HuggingFaceDownloadError::Case::downloadFailed);
        EXPECT_EQ(std::string(error.what()), "Failed to download " + network);
        EXPECT_THAT(descriptionWithCause(error), HasSubstr("Maximum (10) redirects followed"));
    }
}

TEST_F(DownloadRepoTest, GivesUpAHubThatHangs) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::of(HubFault::Kind::silence));
    config.timeout = 0.2;
    try {
        download();
        FAIL();
    } catch (const HuggingFaceDownloadError& error) {
        EXPECT_THAT(descriptionWithCause(error), HasSubstr("timed out"));
    }
}

TEST_F(DownloadRepoTest, LeavesNoHalfFileUnderItsNameWhenTheBodyBreaksOff) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::cutAt(40'000));
    EXPECT_THROW(download(), HuggingFaceDownloadError);
    EXPECT_FALSE(fs::exists(folder / network));
    EXPECT_EQ(contentsOf(folder / (network + ".part")), weights.substr(0, 40'000));
    EXPECT_TRUE(DownloadUtils::isFetchUnfinished(folder));
}

TEST_F(DownloadRepoTest, GoesOnWithWhatAnEndedRunHasLeft) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::cutAt(40'000));
    EXPECT_THROW(download(), HuggingFaceDownloadError);
    hub.clearFault(hubFilePath(Repo::vad, network));
    hub.forgetRequests();
    download();
    const auto requests = hub.requestsFor(hubFilePath(Repo::vad, network));
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_EQ(requests[0].header("range"), "bytes=40000-");
    EXPECT_NE(requests[0].header("if-range"), "");
    EXPECT_EQ(contentsOf(folder / network), weights);
    EXPECT_THAT(filesOnDisk(), ElementsAre(bundle + "/coremldata.bin", network));
}

TEST_F(DownloadRepoTest, GoesOnWithinOneRunWhenTheConnectionBreaksOffOnce) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::cutAt(40'000).forTimes(1));
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, network)), SizeIs(2));
}

TEST_F(DownloadRepoTest, StartsOverWhereTheFileOnTheHubHasChanged) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::cutAt(40'000));
    EXPECT_THROW(download(), HuggingFaceDownloadError);
    hub.clearFault(hubFilePath(Repo::vad, network));
    const std::string newer = "newer" + weights;
    hub.addFile(vadRepository, network, newer);
    download();
    EXPECT_EQ(contentsOf(folder / network), newer);
}

TEST_F(DownloadRepoTest, StartsOverWhereTheHubIgnoresRanges) {
    putFile(folder / (network + ".part"), std::string(40'000, '?'));
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::of(HubFault::Kind::ignoreRange));
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
}

TEST_F(DownloadRepoTest, StartsOverWhereTheHubSendsAnotherRange) {
    putFile(folder / (network + ".part"), weights.substr(0, 40'000));
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::of(HubFault::Kind::wrongRange));
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
}

TEST_F(DownloadRepoTest, StartsOverWhereThePartIsLongerThanTheFile) {
    putFile(folder / (network + ".part"), std::string(weights.size() + 1, '?'));
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
}

TEST_F(DownloadRepoTest, TakesAPartThatIsWhole) {
    putFile(folder / (network + ".part"), weights);
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, network)), SizeIs(1));
}

TEST_F(DownloadRepoTest, IsNotTakenInByALengthThatIsTooLarge) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::lyingAboutLength(500).forTimes(1));
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
    hub.setFault(hubFilePath(Repo::vad, "a.json"), HubFault::lyingAboutLength(500));
    hub.addFile(vadRepository, "a.json", "{}");
    EXPECT_THROW(download(), HuggingFaceDownloadError);
    EXPECT_FALSE(fs::exists(folder / "a.json"));
}

TEST_F(DownloadRepoTest, RefusesAFileThatCannotFit) {
    const auto huge = static_cast<std::int64_t>(1) << 60;
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::lyingAboutLength(huge));
    try {
        download();
        FAIL();
    } catch (const ModelFileError& error) {
        EXPECT_EQ(error.error(), ModelFileError::Case::fileWriteOutOfSpace);
        EXPECT_THAT(error.what(),
                    HasSubstr(std::to_string(huge + static_cast<std::int64_t>(weights.size())) + " bytes to write, "));
        EXPECT_THAT(error.what(), HasSubstr((folder / (network + ".part")).string()));
    }
    EXPECT_FALSE(fs::exists(folder / network));
}

TEST_F(DownloadRepoTest, StopsAtOnceAndLeavesWhatItHas) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::stallAt(40'000));
    std::stop_source stop;
    config.stop = stop.get_token();
    std::jthread stopper([&] {
        hub.waitForStalls(1);
        stop.request_stop();
    });
    try {
        download();
        FAIL();
    } catch (const HttpTransportError& error) {
        EXPECT_EQ(error.error(), HttpTransportError::Case::cancelled);
        EXPECT_STREQ(error.what(), "The download was cancelled.");
    }
    EXPECT_TRUE(fs::exists(folder / (network + ".part")));
    EXPECT_FALSE(fs::exists(folder / network));
}

TEST_F(DownloadRepoTest, WritesThroughNoLink) {
    const TemporaryFolder outside;
    // A link in place of a folder.
    fs::create_directories(folder);
    fs::create_directory_symlink(outside.path(), folder / bundle);
    try {
        download();
        FAIL();
    } catch (const ModelFileError& error) {
        EXPECT_EQ(error.error(), ModelFileError::Case::fileWriteRefused);
        EXPECT_THAT(error.what(), HasSubstr("it is a symbolic link"));
    }
    EXPECT_TRUE(fs::is_empty(outside.path()));
    // In place of the temporary file.
    fs::remove(folder / bundle);
    fs::create_directories(folder / bundle);
    fs::create_symlink(outside / "victim", folder / (network + ".part"));
    EXPECT_THROW(download(), ModelFileError);
    EXPECT_TRUE(fs::is_empty(outside.path()));
    // In place of the repository's folder.
    fs::remove_all(folder);
    fs::create_directory_symlink(outside.path(), folder);
    EXPECT_THROW(download(), ModelFileError);
    EXPECT_TRUE(fs::is_empty(outside.path()));
}

TEST_F(DownloadRepoTest, ReplacesALinkInPlaceOfTheFileAndNotItsTarget) {
    const TemporaryFolder outside;
    putFile(outside / "victim", "precious");
    fs::create_directories(folder / bundle);
    fs::create_symlink(outside / "victim", folder / network);
    download();
    EXPECT_EQ(contentsOf(outside / "victim"), "precious");
    EXPECT_FALSE(fs::is_symlink(folder / network));
    EXPECT_EQ(contentsOf(folder / network), weights);
}

TEST_F(DownloadRepoTest, DoesNotWaitForAPipeInPlaceOfTheTemporaryFile) {
    fs::create_directories(folder / bundle);
    ASSERT_EQ(::mkfifo((folder / (network + ".part")).c_str(), 0600), 0);
    EXPECT_THROW(download(), ModelFileError);
}

TEST_F(DownloadRepoTest, FetchesNothingAfterAHostilePath) {
    hub.setAnswer(
        hubListingPath(Repo::vad, bundle),
        nlohmann::json({{{"path", network}, {"type", "file"}}, {{"path", bundle + "/../../../evil"}, {"type", "file"}}})
            .dump());
    EXPECT_THROW(download(), RepositoryListingError);
    EXPECT_THAT(filesOnDisk(), IsEmpty());
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, network)), IsEmpty());
}

TEST_F(DownloadRepoTest, SendsNoTokenToTheHostThatServesTheFiles) {
    environment.set("HF_TOKEN", "hf_secret");
    hub.setAnswer("/content", weights);
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::redirectTo(hub.urlOfOtherHost() + "/content?signature=1"));
    download();
    EXPECT_EQ(contentsOf(folder / network), weights);
    EXPECT_EQ(hub.requestsFor(hubFilePath(Repo::vad, network)).at(0).header("authorization"), "Bearer hf_secret");
    EXPECT_EQ(hub.requestsFor("/content").at(0).header("authorization"), "");
    for (const auto& line : log.lines())
        EXPECT_THAT(line.message, testing::Not(HasSubstr("hf_secret")));
}

TEST_F(DownloadRepoTest, LetsTwoFetchesOfOneRepositoryComeAfterEachOther) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::stallAt(40'000).forTimes(1));
    std::jthread first([&] { download(); });
    ASSERT_TRUE(hub.waitForStalls(1));
    std::jthread second([&] { download(); });
    hub.releaseStalls();
    first.join();
    second.join();
    EXPECT_EQ(contentsOf(folder / network), weights);
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, network)), SizeIs(1));
}

TEST_F(DownloadRepoTest, EndsTheWaitForAnotherFetchWhenStopped) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::stallAt(40'000).forTimes(1));
    std::jthread first([&] { download(); });
    ASSERT_TRUE(hub.waitForStalls(1));
    std::stop_source stop;
    stop.request_stop();
    DownloadUtils::DownloadConfig stopped;
    stopped.stop = stop.get_token();
    EXPECT_THROW(DownloadUtils::downloadRepo(Repo::vad, root.path(), {}, stopped), HttpTransportError);
    hub.releaseStalls();
}

TEST(DefaultModelsRoot, LiesInTheDataFolderOfTheUser) {
    Testing::EnvironmentScope environment;
    environment.set("HOME", "/home/somebody");
    environment.set("XDG_DATA_HOME", "/data");
    EXPECT_EQ(DownloadUtils::defaultModelsRoot(), "/data/VarnelSpeech/Models");
    for (const char* unusable : {"", "relative/data"}) {
        environment.set("XDG_DATA_HOME", unusable);
        EXPECT_EQ(DownloadUtils::defaultModelsRoot(), "/home/somebody/.local/share/VarnelSpeech/Models");
    }
}

} // namespace
} // namespace VarnelSpeech
