#include "Varnel/Core/AppState.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/ApplicationLogRecorder.h"
#include "support/EventLoop.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedRecogniser.h"
#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <QEventLoop>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
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

    // A speaker of another meeting.
    std::shared_ptr<Speaker> knowVoice(const char* name, Speaker::Embedding embedding, bool isYou) {
        const auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Before"),
                                                       QDateTime::fromMSecsSinceEpoch(0, Qt::UTC));
        auto speaker = std::make_shared<Speaker>(QUuid::createUuid(), QString::fromUtf8(name),
                                                 QStringLiteral("#112233"), isYou, std::move(embedding));
        context().insert(meeting);
        speaker->setMeeting(meeting);
        context().save();
        return speaker;
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
    state_->applyTranscription(QUuid::createUuid(), {segment(0, "Late.", "1")}, std::nullopt);
    QCoreApplication::processEvents();
    EXPECT_TRUE(context().fetchSpeakers().empty());
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty());
}

TEST_F(AppStateTranscription, ARecognisedVoiceTakesNameColourAndFlagAndKeepsItsOwnEmbedding) {
    knowVoice("Ana", {4, 3}, true);
    const Segments voices{segment(0, "a", "1", {3, 0}), segment(1, "b", "2", {0, 9}), segment(2, "c", "3")};
    apply({}, voices);
    EXPECT_EQ(speakers(), list({"You #3B82F6 *", "Ana #112233 *", "Speaker 2 #10B981", "Speaker 3 #F59E0B"}));
    EXPECT_EQ(meeting_->speakers()[1]->embedding(), (Speaker::Embedding{3, 0}));
    EXPECT_EQ(log_.lines(), list({"SpeakerReidentifier scores: Ana=0.800", "Speaker re-id matched 'Ana' sim=0.8",
                                  "SpeakerReidentifier scores: Ana=0.600"}));
}

TEST_F(AppStateTranscription, ARoomIsRecognisedWithoutALineForEachMatch) {
    knowVoice("Ana", {4, 3}, true);
    apply({segment(0, "a", "1", {3, 0}), segment(1, "b", "2", {0, 9}), segment(2, "c", "3")});
    EXPECT_EQ(speakers(), list({"Ana #112233 *", "Speaker 2 #10B981", "Speaker 3 #F59E0B"}));
    EXPECT_EQ(lines(), list({"Ana: a", "Speaker 2: b", "Speaker 3: c"}));
    EXPECT_EQ(log_.lines(), list({"SpeakerReidentifier scores: Ana=0.800", "SpeakerReidentifier scores: Ana=0.600"}));
}

TEST_F(AppStateTranscription, NobodyLooksYouUp) {
    knowVoice("Ana", {4, 3}, false);
    apply({segment(0, "a", "1", {4, 3})});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *"}));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(AppStateTranscription, TwoVoicesMayBeRecognisedAsOnePerson) {
    knowVoice("Ana", {4, 3}, false);
    apply({segment(0, "a", "1", {4, 3}), segment(1, "b", "2", {4, 4})});
    EXPECT_EQ(speakers(), list({"Ana #112233", "Ana #112233"}));
}

TEST_F(AppStateTranscription, AMatchedNameIsLoggedAsItIs) {
    knowVoice("100%1 %2", {1, 0}, false);
    apply({}, Segments{segment(0, "a", "1", {1, 0})});
    EXPECT_EQ(log_.lines().last(), QStringLiteral("Speaker re-id matched '100%1 %2' sim=1.0"));
}

TEST_F(AppStateTranscription, TheMeetingsOwnFormerVoicesAreNoCandidates) {
    const Segments voices{segment(0, "a", "1", {1, 0}), segment(1, "b", "2", {0, 1})};
    apply(voices);
    meeting_->speakers()[0]->setName(QStringLiteral("Ana"));
    context().save();
    apply(voices);
    EXPECT_EQ(speakers(), list({"Speaker 1 #EC4899", "Speaker 2 #10B981"}));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(AppStateTranscription, AStoredSpeakerWithoutANameOfItsOwnIsAMatchToo) {
    knowVoice("Speaker 7", {0, 1}, false);
    apply({segment(0, "a", "1", {1, 0}), segment(1, "b", "2", {0, 1})});
    EXPECT_EQ(speakers(), list({"Speaker 1 #EC4899", "Speaker 7 #112233"}));
}

TEST_F(AppStateTranscription, RecognitionAsksNoSetting) {
    settings_.set(SettingKeys::speakerReid, false);
    knowVoice("Ana", {1, 0}, false);
    apply({}, Segments{segment(0, "a", "1", {1, 0})});
    EXPECT_EQ(speakers().last(), QStringLiteral("Ana #112233"));
}

TEST_F(AppStateTranscription, NewVoicesAreStoredWithTheirNetwork) {
    const ModelSet set{ModelSet::Kind::folder, folder_.path()};
    const auto bundle = set.folder(VarnelSpeech::Repo::diarizer) / "wespeaker_v2.mlmodelc";
    std::filesystem::create_directories(bundle.parent_path());
    VarnelSpeech::Testing::TinyOnnxModels::identity({1, 4}).writeBundle(bundle);
    AppState::Collaborators collaborators{container_.mainContext(), settings_, *engine_};
    collaborators.embeddingNetwork = EmbeddingNetwork(set);
    state_ = std::make_unique<AppState>(collaborators);
    knowVoice("Former", {1, 0}, false)->setEmbeddingModelDigest(QStringLiteral("another"));
    apply({segment(0, "mine", "1", {0, 1})}, Segments{segment(0, "a", "1", {1, 0}), segment(1, "b", "2")});
    EXPECT_EQ(speakers(), list({"You #3B82F6 *", "Speaker 1 #EC4899", "Speaker 2 #10B981"}));
    EXPECT_TRUE(log_.lines().isEmpty());
    const auto digest = EmbeddingNetwork(set).digest();
    ASSERT_TRUE(digest);
    EXPECT_EQ(meeting_->speakers()[0]->embeddingModelDigest(), digest);
    EXPECT_EQ(meeting_->speakers()[1]->embeddingModelDigest(), digest);
    EXPECT_EQ(meeting_->speakers()[2]->embeddingModelDigest(), std::nullopt);
}

TEST_F(AppStateTranscription, AKeyOfNothingButWhiteSpaceMakesARoomAllTheSame) {
    apply({segment(0, "Hello.", "1"), segment(1, "  ", "2")});
    EXPECT_EQ(speakers(), list({"Speaker 1 #EC4899", "Speaker 2 #10B981"}));
    EXPECT_EQ(lines(), list({"Speaker 1: Hello."}));
}

TEST_F(AppStateTranscription, ALineStartsWithItsFirstSegmentEvenOneWithoutText) {
    apply({segment(5, " ", "2"), segment(5, "b", "1")});
    EXPECT_EQ(lines(), list({"Speaker 2: b"}));
}

TEST_F(AppStateTranscription, AStoreThatCannotBeWrittenKeepsTheTranscriptPending) {
    const std::filesystem::path file = folder_ / "store/Varnel.store";
    ModelContainer container(file, std::chrono::milliseconds(0));
    const auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Planning"),
                                                   QDateTime::fromMSecsSinceEpoch(0, Qt::UTC));
    container.mainContext().insert(meeting);
    container.mainContext().save();
    sqlite3* other = nullptr; // a process that does not let go of the store
    ASSERT_EQ(sqlite3_open(file.string().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    AppState state({container.mainContext(), settings_, *engine_});
    state.applyTranscription(meeting->id(), {segment(0, "Hello.", "1")}, std::nullopt);
    EXPECT_EQ(meeting->segments().size(), 1U);
    EXPECT_TRUE(container.mainContext().hasChanges());
    sqlite3_close(other);
    container.mainContext().save();
    EXPECT_FALSE(container.mainContext().hasChanges());
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
    QStringList reasons;
    QObject::connect(state_.get(), &AppState::transcriptionFailed, state_.get(),
                     [&](const QUuid& id, const QString& reason) {
                         EXPECT_EQ(id, meeting_->id());
                         EXPECT_TRUE(state_->transcribingMeetingIDs().isEmpty());
                         reasons += reason;
                     });
    runToEnd(state_->transcribeMeeting(meeting_->id(), "/dev/null", spoken("system.wav", {{5, 2}})));
    EXPECT_EQ(lines(), list({"You: From before."}));
    EXPECT_TRUE(state_->transcribingMeetingIDs().isEmpty());
    ASSERT_EQ(log_.lines().size(), 2); // the first: no diarizer
    EXPECT_TRUE(log_.lines()[1].startsWith(QStringLiteral("Transcription failed for ") + text(meeting_->id()) +
                                           QStringLiteral(": cannot read ")));
    ASSERT_EQ(reasons.size(), 1);
    EXPECT_TRUE(log_.lines()[1].endsWith(QStringLiteral(": ") + reasons[0]));
}

TEST_F(AppStateTranscription, AStopLeavesTheMeetingAsItIsAlsoDuringTheSystemsFile) {
    apply({segment(0, "From before.", "1")});
    runToEnd(engine_->warm());
    int failures = 0;
    QObject::connect(state_.get(), &AppState::transcriptionFailed, state_.get(), [&] { ++failures; });
    std::stop_source stop;
    recogniser_.onWindow = [&](std::size_t window) {
        if (window == 1)
            stop.request_stop();
    };
    runToEnd(state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), spoken("system.wav", {{5, 2}}, 40),
                                       {}, stop.get_token()));
    EXPECT_EQ(lines(), list({"You: From before."}));
    EXPECT_EQ(failures, 1);
    EXPECT_TRUE(state_->transcribingMeetingIDs().isEmpty());
}

TEST_F(AppStateTranscription, ItsProgressRisesOverBothFiles) {
    std::vector<double> shares;
    const auto keep = [&](double share) { shares.push_back(share); };
    runToEnd(
        state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), spoken("system.wav", {{5, 2}}), keep));
    ASSERT_FALSE(shares.empty());
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_EQ(shares.back(), 1);
    EXPECT_TRUE(std::find(shares.begin(), shares.end(), 0.5) != shares.end());
}

TEST_F(AppStateTranscription, ItRunsToItsEndWithoutAnybodyWaiting) {
    QEventLoop loop;
    QObject::connect(state_.get(), &AppState::transcribingMeetingIDsChanged, &loop, [&] {
        if (state_->transcribingMeetingIDs().isEmpty())
            loop.quit();
    });
    state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}), std::nullopt);
    loop.exec();
    EXPECT_EQ(lines(), list({"You: hello"}));
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
    QEventLoop reached;
    std::promise<void> end;
    recogniser_.onWindow = [&, ended = end.get_future().share()](std::size_t) {
        QMetaObject::invokeMethod(&reached, &QEventLoop::quit, Qt::QueuedConnection);
        ended.wait();
    };
    runToEnd(engine_->warm());
    auto task = state_->transcribeMeeting(meeting_->id(), spoken("mic.wav", {{3, 1}}, 40), std::nullopt);
    reached.exec();
    state_.reset();
    end.set_value();
    engine_.reset();
    EXPECT_TRUE(task.isReady());
    EXPECT_TRUE(lines().isEmpty());
}

} // namespace
} // namespace Varnel
