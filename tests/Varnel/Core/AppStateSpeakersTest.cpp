#include "EditedLibrary.h"

namespace Varnel {
namespace {

class AppStateSpeakers : public EditedLibrary {
protected:
    AppStateSpeakers() {
        addLine(meeting_, QStringLiteral("one"), ana_);
        addLine(meeting_, QStringLiteral("two"), ben_);
        addLine(meeting_, QStringLiteral("three"), ana_);
    }

    static QStringList list(std::initializer_list<const char*> texts) {
        QStringList result;
        for (const char* text : texts)
            result += QString::fromUtf8(text);
        return result;
    }

    // "Name #COLOUR", a star for the user and a tilde for a voice, of all speakers as another process reads them.
    QStringList stored() const {
        ModelContainer other(container_.file());
        QStringList result;
        for (const auto& speaker : other.mainContext().fetchSpeakers())
            result += speaker->name() + u' ' + speaker->colorHex() +
                      (speaker->isYou() ? QStringLiteral("*") : QString()) +
                      (speaker->embedding() ? QStringLiteral("~") : QString());
        return result;
    }

    std::shared_ptr<Meeting> meeting_ = addMeeting(QStringLiteral("Planning"));
    std::shared_ptr<Speaker> ana_ = addSpeaker(meeting_, QStringLiteral("Ana"), true);
    std::shared_ptr<Speaker> ben_ = addSpeaker(meeting_, QStringLiteral("Ben"), true);
    std::shared_ptr<Meeting> otherMeeting_ = addMeeting(QStringLiteral("Later"), 1);
    std::shared_ptr<Speaker> otherAna_ = addSpeaker(otherMeeting_, QStringLiteral("Ana"));
};

TEST_F(AppStateSpeakers, RenamesOneAndNothingElse) {
    state_->renameSpeaker(meeting_->id(), ana_->id(), QStringLiteral(" Anna\n"));
    EXPECT_EQ(stored(), list({"Anna #EC4899*~", "Ben #EC4899*~", "Ana #EC4899~"}));
    state_->renameSpeaker(meeting_->id(), ana_->id(), QStringLiteral(" "));
    state_->renameSpeaker(meeting_->id(), otherAna_->id(), QStringLiteral("of another meeting"));
    state_->renameSpeaker(QUuid::createUuid(), ana_->id(), QStringLiteral("of no meeting"));
    EXPECT_EQ(stored(), list({"Anna #EC4899*~", "Ben #EC4899*~", "Ana #EC4899~"}));
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(AppStateSpeakers, MarkingMovesTheFlagToOneSpeakerOfTheMeeting) {
    otherAna_->setIsYou(true);
    state_->markSpeakerAsYou(meeting_->id(), ben_->id());
    EXPECT_EQ(stored(), list({"Ana #EC4899~", "Ben #EC4899*~", "Ana #EC4899*~"}));
    state_->markSpeakerAsYou(meeting_->id(), otherAna_->id());
    EXPECT_EQ(stored(), list({"Ana #EC4899~", "Ben #EC4899~", "Ana #EC4899*~"}));
    state_->markSpeakerAsYou(QUuid::createUuid(), ana_->id());
    EXPECT_FALSE(ana_->isYou());
}

TEST_F(AppStateSpeakers, MergingMovesTheLinesAndDropsTheSource) {
    ben_->setColorHex(QStringLiteral("#10B981"));
    ben_->setEmbedding(std::nullopt);
    state_->mergeSpeaker(meeting_->id(), ana_->id(), ben_->id());
    EXPECT_EQ(storedLines(meeting_->id()), list({"Ben: one", "Ben: two", "Ben: three"}));
    EXPECT_EQ(stored(), list({"Ben #10B981*", "Ana #EC4899~"}));
    EXPECT_EQ(meeting_->speakers().size(), 1U);
    EXPECT_EQ(ben_->segments().size(), 3U);
}

TEST_F(AppStateSpeakers, MergingASpeakerWithItselfDeletesIt) {
    state_->mergeSpeaker(meeting_->id(), ana_->id(), ana_->id());
    EXPECT_EQ(storedLines(meeting_->id()), list({"?: one", "Ben: two", "?: three"}));
    EXPECT_EQ(stored(), list({"Ben #EC4899*~", "Ana #EC4899~"}));
}

TEST_F(AppStateSpeakers, MergingNeedsBothInTheMeeting) {
    state_->mergeSpeaker(meeting_->id(), ana_->id(), otherAna_->id());
    state_->mergeSpeaker(meeting_->id(), otherAna_->id(), ana_->id());
    state_->mergeSpeaker(QUuid::createUuid(), ana_->id(), ben_->id());
    EXPECT_EQ(storedLines(meeting_->id()), list({"Ana: one", "Ben: two", "Ana: three"}));
    EXPECT_EQ(stored().size(), 3);
}

TEST_F(AppStateSpeakers, RenamesEverywhereByTheExactName) {
    addSpeaker(otherMeeting_, QStringLiteral("ana"));
    state_->renameSpeakerEverywhere(QStringLiteral("Ana"), QStringLiteral(" \n"));
    EXPECT_EQ(stored().filter(QStringLiteral("Ana")).size(), 2);
    state_->renameSpeakerEverywhere(ana_->name(), QStringLiteral(" Anna "));
    EXPECT_EQ(stored(), list({"Anna #EC4899*~", "Ben #EC4899*~", "Anna #EC4899~", "ana #EC4899~"}));
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(AppStateSpeakers, RecoloursEverywhere) {
    state_->recolorSpeakerEverywhere(QStringLiteral("Ana"), QStringLiteral("#14B8A6"));
    EXPECT_EQ(stored(), list({"Ana #14B8A6*~", "Ben #EC4899*~", "Ana #14B8A6~"}));
    state_->recolorSpeakerEverywhere(QStringLiteral("Nobody"), QStringLiteral("#000000"));
    EXPECT_EQ(stored().size(), 3);
}

TEST_F(AppStateSpeakers, ForgetsAVoiceEverywhere) {
    state_->forgetSpeakerVoice(QStringLiteral("Ana"));
    EXPECT_EQ(stored(), list({"Ana #EC4899", "Ben #EC4899*~", "Ana #EC4899"}));
    // Nobody is recognised by it any more.
    state_->applyTranscription(otherMeeting_->id(), {},
                               std::vector<Output::Segment>{{0, 1, QStringLiteral("a"), QStringLiteral("1"), {1, 2}}});
    EXPECT_EQ(otherMeeting_->speakers().at(1)->name(), QStringLiteral("Ben"));
}

TEST_F(AppStateSpeakers, DeletesEverywhereAndLeavesTheLines) {
    addLine(otherMeeting_, QStringLiteral("four"), otherAna_);
    state_->deleteSpeakerEverywhere(QStringLiteral("Ana"));
    EXPECT_EQ(stored(), list({"Ben #EC4899*~"}));
    EXPECT_EQ(storedLines(meeting_->id()), list({"?: one", "Ben: two", "?: three"}));
    EXPECT_EQ(storedLines(otherMeeting_->id()), list({"?: four"}));
    EXPECT_EQ(meeting_->speakers().size(), 1U);
    EXPECT_TRUE(otherMeeting_->speakers().empty());
    EXPECT_EQ(meeting_->segments().at(0)->speaker(), nullptr);
}

TEST_F(AppStateSpeakers, SeesWhatIsNotSavedYet) {
    ben_->setName(QStringLiteral("Ana"));
    ana_->setName(QStringLiteral("Zoe"));
    state_->recolorSpeakerEverywhere(QStringLiteral("Ana"), QStringLiteral("#14B8A6"));
    EXPECT_EQ(stored(), list({"Zoe #EC4899*~", "Ana #14B8A6*~", "Ana #14B8A6~"}));
}

TEST_F(AppStateSpeakers, WhatCouldNotBeSavedWaitsForTheNextSave) {
    {
        const Lock lock(container_.file());
        state_->renameSpeaker(meeting_->id(), ben_->id(), QStringLiteral("Benno"));
        state_->mergeSpeaker(meeting_->id(), ana_->id(), ben_->id());
        state_->deleteSpeakerEverywhere(QStringLiteral("Ana"));
        EXPECT_THROW(context().save(), StoreError);
    }
    EXPECT_EQ(stored().size(), 3);
    context().save();
    EXPECT_EQ(stored(), list({"Benno #EC4899*~"}));
    EXPECT_EQ(storedLines(meeting_->id()), list({"Benno: one", "Benno: two", "Benno: three"}));
}

// A store whose tables another process took away.
TEST_F(AppStateSpeakers, AStoreThatCannotBeReadEndsAnOperationWithoutAWord) {
    const QUuid meetingID = meeting_->id();
    const QUuid anaID = ana_->id();
    const QUuid benID = ben_->id();
    state_->selectMeeting(meetingID);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(container_.file().string().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other,
                           "PRAGMA foreign_keys=OFF; DROP TABLE segments; DROP TABLE voiceDigests; "
                           "DROP TABLE speakers; DROP TABLE meetings",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(other);
    EXPECT_EQ(state_->newestMeetingID(), std::nullopt);
    state_->renameMeeting(meetingID, QStringLiteral("x"));
    state_->renameSpeaker(meetingID, anaID, QStringLiteral("x"));
    state_->markSpeakerAsYou(meetingID, anaID);
    state_->mergeSpeaker(meetingID, anaID, benID);
    state_->renameSpeakerEverywhere(QStringLiteral("Ana"), QStringLiteral("x"));
    state_->recolorSpeakerEverywhere(QStringLiteral("Ana"), QStringLiteral("#000000"));
    state_->forgetSpeakerVoice(QStringLiteral("Ana"));
    state_->deleteSpeakerEverywhere(QStringLiteral("Ana"));
    state_->retranscribe(meetingID);
    state_->deleteMeetings({meetingID});
    EXPECT_TRUE(state_->selectedMeetingIDs().isEmpty());
    EXPECT_TRUE(log_.lines().isEmpty());
}

} // namespace
} // namespace Varnel
