#include "Varnel/Core/AppState.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/ApplicationLogRecorder.h"
#include "support/EventLoop.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedRecogniser.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <future>

namespace Varnel {
namespace {

using Testing::ApplicationLogRecorder;
using VarnelSpeech::Testing::ScriptedRecogniser;
using VarnelSpeech::Testing::TemporaryFolder;
using Segments = std::vector<Output::Segment>;

Output::Segment segment(double start, const char* text, const char* key, std::vector<float> embedding = {}) {
    return {start, start + 1, QString::fromUtf8(text), QString::fromLatin1(key), std::move(embedding)};
}

class AppStateTranscription : public ::testing::Test {
protected:
    AppStateTranscription() {
        meeting_ = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Planning"),
                                             QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC));
        context().insert(meeting_);
        context().save();
    }

    ModelContext& context() { return container_.mainContext(); }

    void apply(const Segments& mic, const std::optional<Segments>& system = {}) {
        state_->applyTranscription(meeting_->id(), mic, system);
    }

    // "Name #COLOUR" of each speaker, with a star for the user.
    QStringList speakers() const {
        QStringList result;
        for (const auto& speaker : meeting_->speakers())
            result +=
                speaker->name() + u' ' + speaker->colorHex() + (speaker->isYou() ? QStringLiteral(" *") : QString());
        return result;
    }

    // "Name: text" of each line.
    QStringList lines() const {
        QStringList result;
        for (const auto& line : meeting_->segments())
            result +=
                (line->speaker() ? line->speaker()->name() : QStringLiteral("?")) + QStringLiteral(": ") + line->text();
        return result;
    }

    static QStringList list(std::initializer_list<const char*> texts) {
        QStringList result;
        for (const char* text : texts)
            result += QString::fromUtf8(text);
        return result;
    }

    std::filesystem::path spoken(const char* name, const std::map<int, int>& tokens, double seconds = 2) const {
        ScriptedRecogniser::writeSpokenWAV(folder_ / name, seconds, tokens);
        return folder_ / name;
    }

    TemporaryFolder folder_;
    ApplicationLogRecorder log_;
    ModelContainer container_;
    Testing::MemorySettingsStore settingsStore_;
    Settings settings_{settingsStore_};
    ScriptedRecogniser recogniser_{{"▁hello", "▁there"}};
    std::unique_ptr<TranscriptionEngine> engine_ =
        std::make_unique<TranscriptionEngine>([this] { return recogniser_.models(); });
    std::unique_ptr<AppState> state_ =
        std::make_unique<AppState>(AppState::Collaborators{container_.mainContext(), settings_, *engine_});
    std::shared_ptr<Meeting> meeting_;
};

TEST_F(AppStateTranscription, FindsAMeetingByItsId) {
    EXPECT_EQ(state_->fetchMeeting(meeting_->id()), meeting_);
    EXPECT_EQ(state_->fetchMeeting(QUuid::createUuid()), nullptr);
}

TEST_F(AppStateTranscription, OneVoiceOnTheMicrophoneIsYou) {
    apply({segment(0, " Good morning. ", "S1", {1, 3}), segment(2, "And hello.", "S1", {3, 5})});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *"}));
    EXPECT_EQ(lines(), list({"You: Good morning.", "You: And hello."}));
    EXPECT_EQ(meeting_->speakers()[0]->embedding(), (Speaker::Embedding{2, 4}));
    EXPECT_EQ(meeting_->segments()[1]->startTime(), 2);
    EXPECT_EQ(meeting_->segments()[1]->endTime(), 3);
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(AppStateTranscription, NothingSaidIsYouAlone) {
    apply({});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *"}));
    EXPECT_EQ(meeting_->speakers()[0]->embedding(), std::nullopt);
    EXPECT_TRUE(lines().isEmpty());
}

TEST_F(AppStateTranscription, TwoVoicesOnTheMicrophoneAreARoomWithoutYou) {
    apply({segment(0, "One.", "2", {4}), segment(1, "Two.", "1"), segment(2, "Three.", "2", {6})});
    EXPECT_EQ(speakers(), list({"Speaker 1 #EC4899", "Speaker 2 #10B981"}));
    EXPECT_EQ(lines(), list({"Speaker 2: One.", "Speaker 1: Two.", "Speaker 2: Three."}));
    EXPECT_EQ(meeting_->speakers()[0]->embedding(), std::nullopt);
    EXPECT_EQ(meeting_->speakers()[1]->embedding(), Speaker::Embedding{5});
    EXPECT_EQ(context().fetchSpeakers().size(), 2U);
}

TEST_F(AppStateTranscription, KeysAreSortedAsText) {
    apply({segment(0, "a", "9"), segment(1, "b", "10")});
    EXPECT_EQ(lines(), list({"Speaker 2: a", "Speaker 1: b"}));
}

TEST_F(AppStateTranscription, OfTwoLinesWithOneStartBothAreTheFirstOnes) {
    apply({segment(0, "a", "1"), segment(5, "b", "2"), segment(5, "c", "1")});
    EXPECT_EQ(lines(), list({"Speaker 1: a", "Speaker 2: b", "Speaker 2: c"}));
}

TEST_F(AppStateTranscription, TheSystemsVoicesAreTheOthers) {
    apply({segment(0, "Mine.", "1"), segment(4, "Mine too.", "2")},
          Segments{segment(1, "Theirs.", "2"), segment(2, "  ", "1"), segment(3, "Hers.", "1")});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *", "Speaker 1 #EC4899", "Speaker 2 #10B981"}));
    EXPECT_EQ(lines(), list({"You: Mine.", "You: Mine too.", "Speaker 2: Theirs.", "Speaker 1: Hers."}));
}

TEST_F(AppStateTranscription, ASilentSystemIsYouAndNothingElse) {
    apply({segment(0, "Mine.", "1"), segment(4, "Mine too.", "2")}, Segments{});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *"}));
    EXPECT_EQ(lines(), list({"You: Mine.", "You: Mine too."}));
}

TEST_F(AppStateTranscription, TheEighthVoiceGetsTheFirstColourAgain) {
    Segments system;
    for (const char* key : {"a", "b", "c", "d", "e", "f", "g", "h"})
        system.push_back(segment(1, "x", key));
    apply({}, system);
    EXPECT_EQ(speakers().at(7), QStringLiteral("Speaker 7 #14B8A6"));
    EXPECT_EQ(speakers().at(8), QStringLiteral("Speaker 8 #EC4899"));
}

TEST_F(AppStateTranscription, WhiteSpaceIsNoLineButItsKeyIsStillYours) {
    apply({segment(0, " \n", "1", {2}), segment(1, "Hello.", "2", {8})}, Segments{});
    EXPECT_EQ(lines(), list({"You: Hello."}));
    EXPECT_EQ(meeting_->speakers()[0]->embedding(), Speaker::Embedding{2});
}

TEST_F(AppStateTranscription, ASecondRunReplacesTheFirst) {
    apply({segment(0, "Old.", "1"), segment(1, "Older.", "2")}, Segments{segment(0, "Oldest.", "1")});
    apply({segment(0, "New.", "1")});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *"}));
    EXPECT_EQ(lines(), list({"You: New."}));
    EXPECT_EQ(context().fetchSegments().size(), 1U);
    EXPECT_EQ(context().fetchSpeakers().size(), 1U);
}

TEST_F(AppStateTranscription, AMeetingThatIsGoneIsSkipped) {
    settings_.set(SettingKeys::aiEnabled, true);
    bool hasRun = false;
    state_->runAI = [&](const QUuid&) { hasRun = true; };
    state_->applyTranscription(QUuid::createUuid(), {segment(0, "Late.", "1")}, std::nullopt);
    QCoreApplication::processEvents();
    EXPECT_TRUE(context().fetchSpeakers().empty());
    EXPECT_FALSE(hasRun);
}

TEST_F(AppStateTranscription, ARecognisedVoiceTakesNameColourAndFlagAndKeepsItsOwnEmbedding) {
    state_->voiceMatcher = [this](const Speaker::Embedding& embedding, const QUuid& excluding,
                                  const ModelContext&) -> std::optional<SpeakerReidentifier::Match> {
        EXPECT_EQ(excluding, meeting_->id());
        if (embedding != Speaker::Embedding{3})
            return std::nullopt;
        return SpeakerReidentifier::Match{QStringLiteral("Ana"), QStringLiteral("#112233"), true, 0.75F};
    };
    const Segments voices{segment(0, "a", "1", {3}), segment(1, "b", "2", {9}), segment(2, "c", "3")};
    apply({}, voices);
    EXPECT_EQ(speakers(), list({"You #3B82F6 *", "Ana #112233 *", "Speaker 2 #10B981", "Speaker 3 #F59E0B"}));
    EXPECT_EQ(meeting_->speakers()[1]->embedding(), Speaker::Embedding{3});
    EXPECT_EQ(log_.lines(), list({"Speaker re-id matched 'Ana' sim=0.75"}));
    // A room logs nothing.
    apply(voices);
    EXPECT_EQ(speakers(), list({"Ana #112233 *", "Speaker 2 #10B981", "Speaker 3 #F59E0B"}));
    EXPECT_EQ(log_.lines().size(), 1);
}

TEST_F(AppStateTranscription, TheAssistantRunsAfterwardsWhenItIsEnabled) {
    QList<QUuid> runs;
    state_->runAI = [&](const QUuid& id) { runs += id; };
    apply({segment(0, "Hello.", "1")});
    QCoreApplication::processEvents();
    EXPECT_TRUE(runs.isEmpty()); // off at first
    settings_.set(SettingKeys::aiEnabled, true);
    apply({segment(0, "Hello.", "1")});
    EXPECT_TRUE(runs.isEmpty()); // nobody waits for it
    QCoreApplication::processEvents();
    EXPECT_EQ(runs, QList<QUuid>{meeting_->id()});
    state_->runAI = {};
    apply({});
    QCoreApplication::processEvents();
}

TEST_F(AppStateTranscription, AMeetingIsTranscribedFromItsFiles) {
    int changes = 0;
    QObject::connect(state_.get(), &AppState::transcribingMeetingIDsChanged, state_.get(), [&] { ++changes; });
    auto task = state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), spoken("system.wav", {{5, 2}}));
    EXPECT_TRUE(state_->transcribingMeetingIDs().contains(meeting_->id()));
    runToEnd(std::move(task));
    EXPECT_TRUE(state_->transcribingMeetingIDs().isEmpty());
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(lines(), list({"You: hello", "Speaker 1: there"}));
}

TEST_F(AppStateTranscription, AFailedMicrophoneLeavesTheMeetingAsItIs) {
    apply({segment(0, "From before.", "1")});
    runToEnd(state_->transcribeMeeting(meeting_->id(), "/dev/null", spoken("system.wav", {{5, 2}})));
    EXPECT_EQ(lines(), list({"You: From before."}));
    EXPECT_TRUE(state_->transcribingMeetingIDs().isEmpty());
    ASSERT_EQ(log_.lines().size(), 2); // the first: no diarizer
    EXPECT_TRUE(log_.lines()[1].startsWith(QStringLiteral("Transcription failed for ") + text(meeting_->id()) +
                                           QStringLiteral(": cannot read ")));
}

TEST_F(AppStateTranscription, AFailedSystemIsARecordingOfTheMicrophoneAlone) {
    runToEnd(state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), folder_ / "absent.wav"));
    EXPECT_EQ(lines(), list({"You: hello"}));
    ASSERT_EQ(log_.lines().size(), 2);
    EXPECT_TRUE(log_.lines()[1].startsWith(QStringLiteral("System audio transcription failed: cannot read ")));
}

TEST_F(AppStateTranscription, AMeetingThatIsDeletedMeanwhileIsSkipped) {
    auto task = state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), std::nullopt);
    context().remove(meeting_);
    context().save();
    runToEnd(std::move(task));
    EXPECT_TRUE(context().fetchSegments().empty());
    EXPECT_TRUE(state_->transcribingMeetingIDs().isEmpty());
}

TEST_F(AppStateTranscription, ItsEndLeavesTheRunningTranscriptionAlone) {
    auto task = state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), spoken("system.wav", {{5, 2}}));
    state_.reset();
    runToEnd(std::move(task));
    EXPECT_TRUE(lines().isEmpty());
}

TEST_F(AppStateTranscription, TheEnginesEndFailsTheRunningTranscription) {
    std::promise<void> reached;
    recogniser_.onWindow = [&](std::size_t) { reached.set_value(); };
    runToEnd(engine_->warm());
    auto task = state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}, 40), std::nullopt);
    reached.get_future().wait();
    state_.reset();
    engine_.reset();
    EXPECT_TRUE(task.isReady());
    EXPECT_TRUE(lines().isEmpty());
}

} // namespace
} // namespace Varnel
