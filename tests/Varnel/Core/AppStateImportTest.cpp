#include "EditedLibrary.h"

#include "Varnel/Core/MockTranscriber.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/AudioFixtures.h"

namespace Varnel {
namespace {

class AppStateImport : public EditedLibrary {
protected:
    std::filesystem::path talk(const std::string& name = "Team talk.v2.wav") const {
        using namespace VarnelSpeech::Testing;
        writeAudio(folder_ / name, FixtureFormat::wavInt16, 16000, 1, tone(440, 16000, 1, 16000 * 20));
        return folder_ / name;
    }

    std::shared_ptr<Meeting> import(const std::filesystem::path& file) {
        chooser_.choice = file;
        runToEnd(state_->importAudio());
        const auto id = state_->selectedMeetingID();
        return id ? state_->fetchMeeting(*id) : nullptr;
    }
};

TEST_F(AppStateImport, MakesASampleMeetingOfTheFilesLength) {
    const auto meeting = import(talk());
    ASSERT_TRUE(meeting);
    EXPECT_EQ(meeting->title(), QStringLiteral("Imported Team talk.v2"));
    EXPECT_EQ(meeting->startedAt(), clock_.now());
    EXPECT_EQ(meeting->duration(), 20);
    EXPECT_EQ(meeting->sourceApp(), QStringLiteral("Imported"));
    EXPECT_EQ(meeting->audioFilePath(), std::nullopt);
    EXPECT_EQ(meeting->systemAudioFilePath(), std::nullopt);
    EXPECT_FALSE(context().hasChanges());

    ASSERT_EQ(meeting->speakers().size(), 3U);
    EXPECT_EQ(meeting->speakers()[0]->name(), QStringLiteral("You"));
    EXPECT_EQ(meeting->speakers()[0]->colorHex(), QStringLiteral("#3B82F6"));
    EXPECT_TRUE(meeting->speakers()[0]->isYou());
    EXPECT_EQ(meeting->speakers()[2]->name(), QStringLiteral("Speaker 3"));
    EXPECT_FALSE(meeting->speakers()[2]->isYou());
    const auto lines = meeting->segments();
    ASSERT_GE(lines.size(), 3U);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]->text(), QString::fromLatin1(MockTranscriber::sampleLines[i % 13]));
        EXPECT_EQ(lines[i]->speaker(), meeting->speakers()[i % 3]);
        EXPECT_EQ(lines[i]->speaker()->embedding(), std::nullopt);
    }
    EXPECT_LE(lines.back()->endTime(), 20);
}

TEST_F(AppStateImport, LeavesTheFileWhereItIs) {
    const auto file = talk();
    const auto before = VarnelSpeech::Testing::readBytes(file);
    import(file);
    EXPECT_EQ(VarnelSpeech::Testing::readBytes(file), before);
    EXPECT_FALSE(std::filesystem::exists(recordings_));
}

TEST_F(AppStateImport, AsksForAudioAndEndsWhenNothingIsChosen) {
    runToEnd(state_->importAudio());
    EXPECT_EQ(chooser_.asked, (QStringList{QStringLiteral("audio/*"), QStringLiteral("audio/x-wav"),
                                           QStringLiteral("audio/mpeg"), QStringLiteral("audio/mp4")}));
    EXPECT_TRUE(context().fetchMeetings().empty());
    EXPECT_EQ(state_->selectedMeetingID(), std::nullopt);
}

TEST_F(AppStateImport, AFileThatCannotBeReadIsASampleMeetingOfAMinute) {
    VarnelSpeech::Testing::writeText(folder_ / "broken.mp3", "not a song");
    for (const auto& file : {folder_ / "broken.mp3", folder_ / "absent.wav", folder_.path()}) {
        const auto meeting = import(file);
        ASSERT_TRUE(meeting);
        EXPECT_EQ(meeting->duration(), 60);
        EXPECT_EQ(meeting->speakers().size(), 3U);
        EXPECT_LE(meeting->segments().back()->endTime(), 60);
    }
    EXPECT_EQ(context().fetchMeetings().size(), 3U);
}

TEST_F(AppStateImport, RetranscribingWhatWasImportedMarksItsTitleOnce) {
    const auto meeting = import(talk("call.wav"));
    ASSERT_TRUE(meeting);
    runToEnd(state_->retranscribe(meeting->id()));
    runToEnd(state_->retranscribe(meeting->id()));
    EXPECT_EQ(meeting->title(), QStringLiteral("Imported call (re-transcribed)"));
}

TEST_F(AppStateImport, TheMainContextGoesOnWhileTheFileIsRead) {
    chooser_.choice = talk();
    auto task = state_->importAudio();
    EXPECT_FALSE(task.isReady());
    EXPECT_TRUE(context().fetchMeetings().empty());
    runToEnd(std::move(task));
    EXPECT_EQ(context().fetchMeetings().size(), 1U);
}

TEST_F(AppStateImport, TheEndOfTheApplicationEndsTheReading) {
    chooser_.choice = talk();
    auto task = state_->importAudio();
    state_.reset();
    EXPECT_TRUE(task.isReady());
    EXPECT_TRUE(context().fetchMeetings().empty());
}

// Asks nobody until it is told the answer.
class WaitingFileChooser final : public FileChooser {
public:
    QCoro::Task<std::optional<std::filesystem::path>> chooseFile(QStringList) override {
        WaitingRoom room;
        MainContextWait answered(room);
        wait = &answered;
        co_await completion(answered);
        co_return "/nowhere.wav";
    }

    MainContextWait* wait = nullptr;
};

TEST_F(AppStateImport, AnAnswerAfterTheEndIsIgnored) {
    WaitingFileChooser chooser;
    AppState::Collaborators collaborators{container_.mainContext(), settings_, engine_};
    collaborators.clock = &clock_;
    collaborators.fileChooser = &chooser;
    auto state = std::make_unique<AppState>(collaborators);
    auto task = state->importAudio();
    state.reset();
    ASSERT_NE(chooser.wait, nullptr);
    chooser.wait->endLater();
    runToEnd(std::move(task));
    EXPECT_TRUE(context().fetchMeetings().empty());
}

TEST_F(AppStateImport, WithoutAChooserNothingHappens) {
    AppState bare({container_.mainContext(), settings_, engine_});
    runToEnd(bare.importAudio());
    EXPECT_TRUE(context().fetchMeetings().empty());
}

TEST_F(AppStateImport, WhatCouldNotBeSavedWaitsForTheNextSave) {
    {
        const Lock lock(container_.file());
        EXPECT_TRUE(import(talk()));
    }
    EXPECT_TRUE(context().hasChanges());
    context().save();
    EXPECT_EQ(ModelContainer(container_.file()).mainContext().fetchMeetings().size(), 1U);
}

} // namespace
} // namespace Varnel
