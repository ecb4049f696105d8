#include "EditedLibrary.h"

#include "Varnel/Refinement/RunToEnd.h"

#include <fstream>

namespace Varnel {
namespace {

namespace fs = std::filesystem;
using AppStateSelection = EditedLibrary;
using AppStateRetranscription = EditedLibrary;
using AppStateDeletion = EditedLibrary;
using AppStateRenaming = EditedLibrary;

TEST_F(AppStateSelection, IsEmptyAtFirstAndHoldsOneMeetingOrNone) {
    int changes = 0;
    QObject::connect(state_.get(), &AppState::selectedMeetingIDsChanged, state_.get(), [&] { ++changes; });
    const QUuid id = QUuid::createUuid();
    EXPECT_TRUE(state_->selectedMeetingIDs().isEmpty());
    EXPECT_EQ(state_->selectedMeetingID(), std::nullopt);
    state_->selectMeeting(id);
    EXPECT_EQ(state_->selectedMeetingIDs(), QSet<QUuid>{id});
    EXPECT_EQ(state_->selectedMeetingID(), id);
    state_->selectMeeting(id);
    EXPECT_EQ(changes, 1);
    state_->setSelectedMeetingIDs({id, QUuid::createUuid()});
    EXPECT_EQ(state_->selectedMeetingID(), std::nullopt) << "which of the two?";
    state_->selectMeeting(std::nullopt);
    EXPECT_TRUE(state_->selectedMeetingIDs().isEmpty());
    EXPECT_EQ(changes, 3);
}

TEST_F(AppStateRetranscription, ReplacesTheTranscriptAndLeavesTheTitle) {
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, addRecording("mic.wav"), folder_ / "absent.wav");
    const auto speaker = addSpeaker(meeting, QStringLiteral("Ana"));
    addLine(meeting, QStringLiteral("old"), speaker);
    runToEnd(state_->retranscribe(meeting->id()));
    EXPECT_EQ(meeting->title(), QStringLiteral("Planning"));
    EXPECT_EQ(storedLines(meeting->id()), QStringList{QStringLiteral("You: hello")});
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(AppStateRetranscription, TakesTheSystemsFileWhenItIsThere) {
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, addRecording("mic.wav"), addRecording("system.wav"));
    runToEnd(state_->retranscribeFromDisk(meeting->id()));
    EXPECT_EQ(storedLines(meeting->id()),
              (QStringList{QStringLiteral("You: hello"), QStringLiteral("Speaker 1: hello")}));
}

TEST_F(AppStateRetranscription, RunsToItsEndWithoutAnybodyWaiting) {
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, addRecording("mic.wav"));
    QEventLoop loop;
    QObject::connect(state_.get(), &AppState::transcribingMeetingIDsChanged, &loop, [&] {
        if (state_->transcribingMeetingIDs().isEmpty())
            loop.quit();
    });
    state_->retranscribe(meeting->id());
    EXPECT_TRUE(state_->transcribingMeetingIDs().contains(meeting->id()));
    loop.exec();
    EXPECT_EQ(storedLines(meeting->id()), QStringList{QStringLiteral("You: hello")});
}

TEST_F(AppStateRetranscription, WithoutAudioItMarksTheTitleOnce) {
    const auto imported = addMeeting(QStringLiteral("Imported talk"));
    runToEnd(state_->retranscribe(imported->id()));
    EXPECT_EQ(imported->title(), QStringLiteral("Imported talk (re-transcribed)"));
    runToEnd(state_->retranscribe(imported->id()));
    EXPECT_EQ(imported->title(), QStringLiteral("Imported talk (re-transcribed)"));
    EXPECT_FALSE(context().hasChanges());
    const auto lost = addMeeting(QStringLiteral("Lost"), 0, recordings_ / "lost.wav");
    runToEnd(state_->retranscribe(lost->id()));
    EXPECT_EQ(lost->title(), QStringLiteral("Lost (re-transcribed)"));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(AppStateRetranscription, FromDiskDoesNothingWithoutAFile) {
    const auto lost = addMeeting(QStringLiteral("Lost"), 0, recordings_ / "lost.wav", addRecording("system.wav"));
    runToEnd(state_->retranscribeFromDisk(lost->id()));
    runToEnd(state_->retranscribeFromDisk(QUuid::createUuid()));
    runToEnd(state_->retranscribe(QUuid::createUuid()));
    EXPECT_EQ(lost->title(), QStringLiteral("Lost"));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(AppStateRetranscription, APlaceholderIsAFileThatCannotBeTranscribed) {
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, "/dev/null");
    QStringList reasons;
    QObject::connect(state_.get(), &AppState::transcriptionFailed, state_.get(),
                     [&](const QUuid&, const QString& reason) { reasons += reason; });
    runToEnd(state_->retranscribe(meeting->id()));
    EXPECT_EQ(meeting->title(), QStringLiteral("Planning"));
    ASSERT_EQ(reasons.size(), 1);
    EXPECT_TRUE(reasons[0].startsWith(QStringLiteral("cannot read '/dev/null'"))) << reasons[0].toStdString();
}

TEST_F(AppStateRetranscription, TheEndOfTheApplicationEndsItsWaiting) {
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, addRecording("mic.wav"));
    auto task = state_->retranscribe(meeting->id());
    state_.reset();
    runToEnd(std::move(task));
    EXPECT_TRUE(storedLines(meeting->id()).isEmpty());
}

TEST_F(AppStateDeletion, TakesTheMeetingWithItsRecordsAndItsRecording) {
    const auto mic = addRecording("mic.wav");
    const auto system = addRecording("system.wav");
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, mic, system);
    addLine(meeting, QStringLiteral("hello"), addSpeaker(meeting, QStringLiteral("Ana")));
    state_->deleteMeeting(meeting->id());
    EXPECT_TRUE(context().fetchMeetings().empty());
    EXPECT_TRUE(context().fetchSpeakers().empty());
    EXPECT_TRUE(context().fetchSegments().empty());
    EXPECT_FALSE(context().hasChanges());
    EXPECT_FALSE(fs::exists(mic));
    EXPECT_TRUE(fs::exists(system)) << "nothing cleans up the system's audio";
    EXPECT_EQ(waveforms_.forgotten, QStringList{QString::fromStdString(mic.string())});
    EXPECT_TRUE(state_->selectedMeetingIDs().isEmpty());
}

TEST_F(AppStateDeletion, SelectsTheNewestWhenNothingIsSelectedAnyMore) {
    const auto oldest = addMeeting(QStringLiteral("oldest"), 1);
    const auto newest = addMeeting(QStringLiteral("newest"), 3);
    const auto middle = addMeeting(QStringLiteral("middle"), 2);
    state_->selectMeeting(middle->id());
    state_->deleteMeeting(middle->id());
    EXPECT_EQ(state_->selectedMeetingID(), newest->id());
    state_->deleteMeeting(newest->id());
    EXPECT_EQ(state_->selectedMeetingID(), oldest->id());
    state_->deleteMeeting(oldest->id());
    EXPECT_TRUE(state_->selectedMeetingIDs().isEmpty());
    EXPECT_EQ(state_->newestMeetingID(), std::nullopt);
}

TEST_F(AppStateDeletion, KeepsTheSelectionOfAnother) {
    const auto selected = addMeeting(QStringLiteral("selected"), 1);
    addMeeting(QStringLiteral("newest"), 2);
    const auto other = addMeeting(QStringLiteral("other"), 0);
    state_->selectMeeting(selected->id());
    state_->deleteMeeting(other->id());
    EXPECT_EQ(state_->selectedMeetingID(), selected->id());
}

TEST_F(AppStateDeletion, AMeetingThatIsNotThereLeavesTheSelectionAllTheSame) {
    const auto newest = addMeeting(QStringLiteral("newest"));
    const QUuid gone = QUuid::createUuid();
    state_->selectMeeting(gone);
    state_->deleteMeeting(*state_->selectedMeetingIDs().begin());
    EXPECT_EQ(state_->selectedMeetingID(), newest->id());
    EXPECT_EQ(context().fetchMeetings().size(), 1U);
}

TEST_F(AppStateDeletion, OfSeveralSavesOnce) {
    const auto a = addMeeting(QStringLiteral("a"), 1, addRecording("a.wav"));
    const auto b = addMeeting(QStringLiteral("b"), 2, addRecording("b.wav"));
    const auto kept = addMeeting(QStringLiteral("kept"), 0, addRecording("kept.wav"));
    state_->setSelectedMeetingIDs({a->id(), b->id(), kept->id()});
    int saves = 0;
    QObject::connect(&context(), &ModelContext::saved, state_.get(), [&] { ++saves; });
    state_->deleteMeetings({a->id(), QUuid::createUuid(), b->id()});
    EXPECT_EQ(saves, 1);
    EXPECT_EQ(context().fetchMeetings().size(), 1U);
    EXPECT_FALSE(fs::exists(recordings_ / "a.wav"));
    EXPECT_FALSE(fs::exists(recordings_ / "b.wav"));
    EXPECT_TRUE(fs::exists(recordings_ / "kept.wav"));
    EXPECT_EQ(state_->selectedMeetingID(), kept->id());
    state_->deleteMeetings(state_->selectedMeetingIDs());
    EXPECT_TRUE(state_->selectedMeetingIDs().isEmpty());
    EXPECT_TRUE(context().fetchMeetings().empty());
}

TEST_F(AppStateDeletion, OfNothingSelectsTheNewest) {
    const auto newest = addMeeting(QStringLiteral("newest"));
    state_->deleteMeetings({});
    EXPECT_EQ(state_->selectedMeetingID(), newest->id());
}

TEST_F(AppStateDeletion, WhatCouldNotBeSavedWaitsForTheNextSave) {
    const auto meeting = addMeeting(QStringLiteral("Planning"));
    {
        const Lock lock(container_.file());
        state_->deleteMeeting(meeting->id());
        EXPECT_EQ(state_->fetchMeeting(meeting->id()), nullptr);
        EXPECT_TRUE(context().hasChanges());
        EXPECT_THROW(context().save(), StoreError);
    }
    EXPECT_TRUE(storedLines(meeting->id()).isEmpty()) << "still there for others";
    context().save();
    EXPECT_EQ(storedLines(meeting->id()), QStringList{QStringLiteral("no meeting")});
}

TEST_F(AppStateDeletion, TakesNoFileButARecording) {
    fs::create_directories(recordings_ / "folder");
    const auto outside = folder_ / "outside.wav";
    const auto deeper = recordings_ / "folder/deeper.wav";
    for (const auto& file : {outside, deeper})
        std::ofstream(file) << "kept";
    fs::create_symlink(outside, recordings_ / "link.wav");
    fs::create_directory_symlink(folder_.path(), recordings_ / "way-out");
    for (const fs::path& path :
         {fs::path("/dev/null"), outside, deeper, recordings_ / "folder", recordings_, recordings_ / "link.wav",
          recordings_ / "way-out/outside.wav", recordings_ / "../outside.wav", recordings_ / "folder/..",
          recordings_ / "absent.wav", fs::path("outside.wav"), fs::path()}) {
        const auto meeting = addMeeting(QStringLiteral("Planning"), 0, path);
        state_->deleteMeeting(meeting->id());
    }
    EXPECT_TRUE(context().fetchMeetings().empty());
    EXPECT_TRUE(fs::exists("/dev/null"));
    EXPECT_TRUE(fs::exists(outside));
    EXPECT_TRUE(fs::exists(deeper));
    EXPECT_TRUE(fs::is_symlink(recordings_ / "link.wav"));
    EXPECT_TRUE(fs::is_directory(recordings_ / "folder"));
    EXPECT_EQ(waveforms_.forgotten.size(), 12) << "whatever becomes of the file";
}

TEST_F(AppStateDeletion, FindsTheRecordingsFolderByAnyNameOfItsOwn) {
    const auto recording = addRecording("mic.wav");
    fs::create_directory_symlink(recordings_, folder_ / "other-name");
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, folder_ / "other-name/mic.wav");
    state_->deleteMeeting(meeting->id());
    EXPECT_FALSE(fs::exists(recording));
}

TEST_F(AppStateDeletion, WithoutARecordingsFolderNoFileGoes) {
    const auto recording = addRecording("mic.wav");
    AppState bare({container_.mainContext(), settings_, engine_});
    const auto meeting = addMeeting(QStringLiteral("Planning"), 0, recording);
    bare.deleteMeeting(meeting->id());
    EXPECT_TRUE(fs::exists(recording));
    EXPECT_TRUE(context().fetchMeetings().empty());
}

TEST_F(AppStateDeletion, OfMeetingsWithOneStartTheFirstInsertedIsTheNewest) {
    const auto first = addMeeting(QStringLiteral("z"), 5);
    addMeeting(QStringLiteral("a"), 5);
    EXPECT_EQ(state_->newestMeetingID(), first->id());
}

TEST_F(AppStateRenaming, TrimsAndNeverEmptiesATitle) {
    const auto meeting = addMeeting(QStringLiteral("Planning"));
    state_->renameMeeting(meeting->id(), QStringLiteral(" \t\n "));
    EXPECT_EQ(meeting->title(), QStringLiteral("Planning"));
    state_->renameMeeting(meeting->id(), QStringLiteral("\n Budget 2027 \n"));
    EXPECT_EQ(meeting->title(), QStringLiteral("Budget 2027"));
    EXPECT_FALSE(context().hasChanges());
    state_->renameMeeting(QUuid::createUuid(), QStringLiteral("nobody"));
}

TEST_F(AppStateRenaming, WhatCouldNotBeSavedWaitsForTheNextSave) {
    const auto meeting = addMeeting(QStringLiteral("Planning"));
    {
        const Lock lock(container_.file());
        state_->renameMeeting(meeting->id(), QStringLiteral("Budget"));
    }
    EXPECT_EQ(meeting->title(), QStringLiteral("Budget"));
    EXPECT_TRUE(context().hasChanges());
    context().save();
    EXPECT_EQ(ModelContainer(container_.file()).mainContext().meeting(meeting->id())->title(),
              QStringLiteral("Budget"));
}

} // namespace
} // namespace Varnel
