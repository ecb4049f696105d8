#include "VarnelSpeech/Shared/AssetDownloader.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "support/EnvironmentScope.h"
#include "support/FileText.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "support/TestHub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace VarnelSpeech {
namespace {

namespace fs = std::filesystem;
using Level = AppLogger::Level;
using Testing::contentsOf;
using testing::ElementsAre;
using Testing::HubEnvironment;
using Testing::HubFault;
using testing::IsEmpty;
using Testing::LogRecorder;
using Testing::TemporaryFolder;
using Testing::TestHub;

class AssetDownloaderTest : public testing::Test {
protected:
    AssetDownloader::Descriptor descriptor() const {
        return {.description = "the lexicon",
                .remoteURL = hub.url() + "/lexicon",
                .destinationURL = folder / "deep/lexicon.bin",
                .skipIfExists = true,
                .transferMode = AssetDownloader::TransferMode::Data([](std::span<const std::byte> bytes,
                                                                       const fs::path& destination) {
                    std::ofstream(destination, std::ios::binary)
                        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
                })};
    }

    AssetDownloader::Descriptor fileDescriptor() const {
        auto result = descriptor();
        result.transferMode = AssetDownloader::TransferMode::File(
            [](const fs::path& temporary, const fs::path& destination) { fs::rename(temporary, destination); });
        return result;
    }

    TestHub hub;
    HubEnvironment environment{hub.url()};
    TemporaryFolder folder;
    LogRecorder log;
};

TEST_F(AssetDownloaderTest, FetchesIntoMemoryAndHandsTheBytesOver) {
    hub.setAnswer("/lexicon", "words");
    EXPECT_EQ(AssetDownloader::ensure(descriptor()), folder / "deep/lexicon.bin");
    EXPECT_EQ(contentsOf(folder / "deep/lexicon.bin"), "words");
    const std::string path = (folder / "deep/lexicon.bin").string();
    EXPECT_THAT(log.messages(Level::info),
                testing::IsSupersetOf({"Fetching the lexicon from " + hub.url() + "/lexicon",
                                       std::string("Downloading the lexicon"), "Cached the lexicon at " + path}));
}

TEST_F(AssetDownloaderTest, FetchesToATemporaryFileAndHandsItOver) {
    hub.setAnswer("/lexicon", std::string(100'000, 'w'));
    AssetDownloader::ensure(fileDescriptor());
    EXPECT_EQ(contentsOf(folder / "deep/lexicon.bin"), std::string(100'000, 'w'));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "deep"), {}), 1);
}

TEST_F(AssetDownloaderTest, KeepsWhatIsThere) {
    fs::create_directories(folder / "deep");
    std::ofstream(folder / "deep/lexicon.bin") << "old";
    AssetDownloader::ensure(descriptor());
    EXPECT_EQ(contentsOf(folder / "deep/lexicon.bin"), "old");
    EXPECT_THAT(hub.requests(), IsEmpty());
    EXPECT_THAT(log.messages(Level::info),
                ElementsAre("Cached the lexicon at " + (folder / "deep/lexicon.bin").string()));
}

TEST_F(AssetDownloaderTest, FetchesAgainWhereItIsToldTo) {
    fs::create_directories(folder / "deep");
    std::ofstream(folder / "deep/lexicon.bin") << "old";
    hub.setAnswer("/lexicon", "new");
    auto again = descriptor();
    again.skipIfExists = false;
    AssetDownloader::ensure(again);
    EXPECT_EQ(contentsOf(folder / "deep/lexicon.bin"), "new");
}

TEST_F(AssetDownloaderTest, ReportsEveryOtherStatus) {
    for (const auto& asset : {descriptor(), fileDescriptor()}) {
        hub.setFault("/lexicon", HubFault::withStatus(404));
        try {
            AssetDownloader::ensure(asset);
            FAIL();
        } catch (const AssetDownloader::Error& error) {
            EXPECT_EQ(error.statusCode(), 404);
            EXPECT_STREQ(error.what(), "Unexpected response (status 404) while downloading the lexicon");
        }
        EXPECT_TRUE(fs::is_empty(folder / "deep"));
    }
}

TEST_F(AssetDownloaderTest, LeavesNothingOfATransferThatBrokeOff) {
    hub.setAnswer("/lexicon", std::string(1000, 'w'));
    hub.setFault("/lexicon", HubFault::cutAt(500));
    EXPECT_THROW(AssetDownloader::ensure(fileDescriptor()), HttpTransportError);
    EXPECT_TRUE(fs::is_empty(folder / "deep"));
}

TEST_F(AssetDownloaderTest, PassesOnWhatItsHandlerThrows) {
    hub.setAnswer("/lexicon", "words");
    auto failing = descriptor();
    failing.transferMode = AssetDownloader::TransferMode::File(
        [](const fs::path&, const fs::path&) { throw std::runtime_error("no room"); });
    EXPECT_THROW(AssetDownloader::ensure(failing), std::runtime_error);
    EXPECT_TRUE(fs::is_empty(folder / "deep"));
}

} // namespace
} // namespace VarnelSpeech
