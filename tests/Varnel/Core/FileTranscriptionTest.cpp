#include "Varnel/Core/FileTranscription.h"

#include "Varnel/Core/RecordingsFolder.h"
#include "Varnel/Models/ModelContainer.h"
#include "support/AudioFixtures.h"
#include "support/ErrorText.h"
#include "support/ManualClock.h"
#include "support/SmallDisk.h"
#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <QUrl>

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace Varnel {
namespace {

namespace fs = std::filesystem;
using Testing::errorText;
using VarnelSpeech::Testing::readBytes;
using VarnelSpeech::Testing::TemporaryFolder;
using VarnelSpeech::Testing::writeText;

constexpr auto ownerFile = fs::perms::owner_read | fs::perms::owner_write;

std::size_t fileCount(const fs::path& folder) {
    if (!fs::exists(folder))
        return 0;
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

class FileTranscriptionTest : public ::testing::Test {
protected:
    fs::path audio(const std::string& name = "Team call.wav") const {
        writeText(folder_ / name, "the sound of a call");
        fs::permissions(folder_ / name, fs::perms::owner_read | fs::perms::group_read);
        return folder_ / name;
    }

    static Output twoVoices() {
        Output output;
        output.duration = 12.5;
        output.segments = {{0, 1, QStringLiteral("One."), QStringLiteral("2"), {3}},
                           {1, 2, QStringLiteral(" Two. "), QStringLiteral("1"), {}},
                           {2, 3, QStringLiteral(" "), QStringLiteral("3"), {}}};
        return output;
    }

    TemporaryFolder folder_;
    ModelContainer container_;
    Testing::ManualClock clock_;
    fs::path recordings_ = folder_ / "data/Varnel/Recordings";
    FileTranscription transcription_{container_.mainContext(), clock_, recordings_};
};

TEST_F(FileTranscriptionTest, MakesAMeetingOfTheFile) {
    const auto meeting = transcription_.save(audio(), twoVoices());
    EXPECT_EQ(meeting->title(), QStringLiteral("Team call"));
    EXPECT_EQ(meeting->startedAt(), clock_.now());
    EXPECT_EQ(meeting->duration(), 12.5);
    EXPECT_EQ(meeting->sourceApp(), std::nullopt);
    EXPECT_EQ(meeting->systemAudioFilePath(), std::nullopt);
    EXPECT_FALSE(container_.mainContext().hasChanges());
    EXPECT_EQ(container_.mainContext().fetchMeetings().size(), 1U);
}

TEST_F(FileTranscriptionTest, HasASpeakerForEveryVoiceAndNoneIsYou) {
    const auto meeting = transcription_.save(audio(), twoVoices());
    ASSERT_EQ(meeting->speakers().size(), 3U);
    EXPECT_EQ(meeting->speakers()[0]->name(), QStringLiteral("Speaker 1"));
    EXPECT_EQ(meeting->speakers()[0]->colorHex(), QStringLiteral("#EC4899"));
    EXPECT_EQ(meeting->speakers()[1]->embedding(), Speaker::Embedding{3});
    for (const auto& speaker : meeting->speakers())
        EXPECT_FALSE(speaker->isYou());
    ASSERT_EQ(meeting->segments().size(), 2U);
    EXPECT_EQ(meeting->segments()[0]->speaker()->name(), QStringLiteral("Speaker 2"));
    EXPECT_EQ(meeting->segments()[1]->text(), QStringLiteral("Two."));
}

TEST_F(FileTranscriptionTest, ARecognisedVoiceIsNotYouEither) {
    // Of one dimension only the sign is compared.
    container_.mainContext().insert(std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("Me"),
                                                              QStringLiteral("#3B82F6"), true, Speaker::Embedding{1}));
    const auto meeting = transcription_.save(audio(), twoVoices());
    ASSERT_EQ(meeting->speakers().size(), 3U);
    EXPECT_EQ(meeting->speakers()[0]->name(), QStringLiteral("Speaker 1"));
    EXPECT_EQ(meeting->speakers()[1]->name(), QStringLiteral("Me"));
    EXPECT_EQ(meeting->speakers()[1]->colorHex(), QStringLiteral("#3B82F6"));
    EXPECT_FALSE(meeting->speakers()[1]->isYou());
    EXPECT_EQ(meeting->speakers()[1]->embedding(), Speaker::Embedding{3});
}

TEST_F(FileTranscriptionTest, KnowsTheVoicesOfEarlierFiles) {
    const auto first = transcription_.save(audio(), twoVoices());
    first->speakers()[1]->setName(QStringLiteral("Ana"));
    const auto second = transcription_.save(audio("again.mp3"), twoVoices());
    EXPECT_EQ(second->speakers()[1]->name(), QStringLiteral("Ana"));
    EXPECT_EQ(second->speakers()[1]->colorHex(), QStringLiteral("#10B981"));
}

TEST_F(FileTranscriptionTest, KeepsTheNetworkOfEachVoiceAndComparesNoOthers) {
    const ModelSet set{ModelSet::Kind::folder, folder_.path()};
    const auto bundle = set.folder(VarnelSpeech::Repo::diarizer) / "wespeaker_v2.mlmodelc";
    fs::create_directories(bundle.parent_path());
    VarnelSpeech::Testing::TinyOnnxModels::identity({1, 4}).writeBundle(bundle);
    const EmbeddingNetwork network(set);
    ASSERT_TRUE(network.digest());

    FileTranscription withNetwork(container_.mainContext(), clock_, recordings_, network);
    const auto first = withNetwork.save(audio(), twoVoices());
    first->speakers()[1]->setName(QStringLiteral("Ana"));
    EXPECT_EQ(first->speakers()[0]->embeddingModelDigest(), std::nullopt) << "it has no voice";
    EXPECT_EQ(first->speakers()[1]->embeddingModelDigest(), network.digest());
    EXPECT_EQ(withNetwork.save(audio(), twoVoices())->speakers()[1]->name(), QStringLiteral("Ana"));

    VarnelSpeech::Testing::TinyOnnxModels::identity({1, 5}).writeBundle(bundle);
    const auto later = withNetwork.save(audio(), twoVoices());
    EXPECT_EQ(later->speakers()[1]->name(), QStringLiteral("Speaker 2"));
    EXPECT_EQ(later->speakers()[1]->embeddingModelDigest(), network.digest());
}

TEST_F(FileTranscriptionTest, KeepsAPrivateCopyAndLeavesTheOriginalAlone) {
    const fs::path original = audio();
    const auto before = fs::last_write_time(original);
    const auto meeting = transcription_.save(original, twoVoices());
    const fs::path copy = meeting->audioFilePath()->toStdString();
    EXPECT_EQ(copy.parent_path(), recordings_);
    EXPECT_TRUE(copy.filename().string().ends_with("-mic.wav"));
    EXPECT_EQ(copy.filename().string().size(), 36 + 8U);
    EXPECT_FALSE(QUuid(QString::fromStdString(copy.filename().string().substr(0, 36))).isNull());
    EXPECT_EQ(readBytes(copy), readBytes(original));
    EXPECT_EQ(fs::status(copy).permissions(), ownerFile);
    EXPECT_EQ(fs::status(recordings_).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(recordings_.parent_path()).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(original).permissions(), fs::perms::owner_read | fs::perms::group_read);
    EXPECT_EQ(fs::last_write_time(original), before);
    EXPECT_EQ(fileCount(recordings_), 1U);
}

TEST_F(FileTranscriptionTest, AFileMayBeSavedTwice) {
    transcription_.save(audio(), twoVoices());
    transcription_.save(folder_ / "Team call.wav", twoVoices());
    EXPECT_EQ(fileCount(recordings_), 2U);
    EXPECT_EQ(container_.mainContext().fetchMeetings().size(), 2U);
}

TEST_F(FileTranscriptionTest, AnyNameIsATitle) {
    EXPECT_EQ(transcription_.save(audio("a 'b' \"c\"\nd.v2.mp3"), {})->title(), QStringLiteral("a 'b' \"c\"\nd.v2"));
    EXPECT_EQ(transcription_.save(audio("Zürich \xff.wav"), {})->title(), QStringLiteral("Zürich \uFFFD"));
    const auto plain = transcription_.save(audio("no extension"), {});
    EXPECT_EQ(plain->title(), QStringLiteral("no extension"));
    EXPECT_TRUE(plain->audioFilePath()->endsWith(QStringLiteral("-mic")));
}

TEST_F(FileTranscriptionTest, AnOddExtensionIsLeftOutOfTheCopysName) {
    for (const char* name : {"a.w\xffv", "a.w v", "a.w\nv", "a.averyveryverylongone"}) {
        const auto meeting = transcription_.save(audio(name), {});
        EXPECT_TRUE(meeting->audioFilePath()->endsWith(QStringLiteral("-mic"))) << name;
        EXPECT_TRUE(fs::exists(meeting->audioFilePath()->toStdString()));
    }
}

TEST_F(FileTranscriptionTest, AFileThatCannotBeReadLeavesNothing) {
    const std::string text = errorText([&] { transcription_.save(folder_ / "absent.wav", twoVoices()); });
    EXPECT_TRUE(
        text.starts_with("cannot copy '" + (folder_ / "absent.wav").string() + "' to '" + recordings_.string()));
    EXPECT_TRUE(text.ends_with("-mic.wav': is not a regular file")) << text;
    EXPECT_FALSE(errorText([&] { transcription_.save(folder_.path(), twoVoices()); }).empty());
    EXPECT_EQ(fileCount(recordings_), 0U);
    EXPECT_TRUE(container_.mainContext().fetchMeetings().empty());
}

TEST_F(FileTranscriptionTest, AFolderThatCannotBeMadeIsOneClearError) {
    writeText(folder_ / "data", "a file in the way");
    const std::string text = errorText([&] { transcription_.save(audio(), twoVoices()); });
    EXPECT_TRUE(text.ends_with("': Not a directory")) << text;
    EXPECT_TRUE(container_.mainContext().fetchMeetings().empty());
}

TEST_F(FileTranscriptionTest, AFullDiskLeavesNothing) {
    const VarnelSpeech::Testing::SmallDisk disk(recordings_, 16 * 1024);
    if (!disk.isMounted())
        GTEST_SKIP() << "no small disk can be mounted here";
    writeText(folder_ / "big.wav", std::string(1 << 20, 'x'));
    const std::string text = errorText([&] { transcription_.save(folder_ / "big.wav", twoVoices()); });
    EXPECT_TRUE(text.ends_with("': No space left on device")) << text;
    EXPECT_EQ(fileCount(recordings_), 0U);
    EXPECT_TRUE(container_.mainContext().fetchMeetings().empty());
}

TEST_F(FileTranscriptionTest, AStoreThatCannotBeWrittenLeavesNothing) {
    const fs::path store = folder_ / "store/Varnel.store";
    ModelContainer writer(store, std::chrono::milliseconds(0));
    sqlite3* other = nullptr; // a process that does not let go of the store
    ASSERT_EQ(sqlite3_open(store.string().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    FileTranscription transcription(writer.mainContext(), clock_, recordings_);
    EXPECT_THROW(transcription.save(audio(), twoVoices()), StoreError);
    sqlite3_close(other);
    EXPECT_EQ(fileCount(recordings_), 0U);
    EXPECT_FALSE(writer.mainContext().hasChanges());
    EXPECT_TRUE(writer.mainContext().fetchMeetings().empty());
}

} // namespace
} // namespace Varnel
