#include "Varnel/Core/AppState.h"

#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Platform/Linux/CurlHttpClient.h"
#include "Varnel/Refinement/Export.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/ApplicationLogRecorder.h"
#include "support/EventLoop.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedChatServer.h"
#include "support/ScriptedRecogniser.h"

#include <QEventLoop>

#include <gmock/gmock.h>

namespace Varnel {
namespace {

using Testing::ScriptedChatServer;
using Question = ScriptedChatServer::Question;
using Reply = ScriptedChatServer::Reply;

constexpr const char* disabled = "AI assistant is disabled in Settings.";
constexpr const char* nothingToProcess = "Nothing to process - wait for transcription to finish.";

// The assistant's run against a real server on loopback.
class AppStateAssistant : public ::testing::Test {
protected:
    AppStateAssistant() {
        settings_.set(SettingKeys::aiEnabled, true);
        settings_.set(SettingKeys::aiBaseURL, QString::fromStdString(server_.baseURL()));
        settings_.set(SettingKeys::aiAPIKey, QStringLiteral("sk-12345"));
        meeting_ = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Planning"),
                                             QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC));
        context().insert(meeting_);
        line(speaker("You", true), 0, "Hello both.");
        line(speaker("Speaker 1"), 2, "Hi, I'm Alice.");
        line(speaker("Speaker 2"), 4, "And I'm Bob.");
        context().save();
        server_.answer(Question::names,
                       R"([{"speakerKey":"Speaker 1","name":"Alice"},{"speakerKey":"You","name":"Eve"}])");
        server_.answer(Question::summary, "<think>hm</think>\n- Everybody said hello.\n");
        server_.answer(Question::actionItems, R"(```json
[{"text":"Send it","assignee":"Bob","timestamp":4}]
```)");
        server_.answer(Question::topics, R"(Topics: [{"title":"End","startSeconds":4,"endSeconds":5},)"
                                         R"({"title":"Hello","startSeconds":0,"endSeconds":4}] Done.)");
    }

    ModelContext& context() { return container_.mainContext(); }

    std::shared_ptr<Speaker> speaker(const char* name, bool isYou = false) {
        auto speaker =
            std::make_shared<Speaker>(QUuid::createUuid(), QString::fromUtf8(name), QStringLiteral("#EC4899"), isYou);
        context().insert(speaker);
        speaker->setMeeting(meeting_);
        return speaker;
    }

    void line(const std::shared_ptr<Speaker>& speaker, double start, const char* text) {
        auto segment = std::make_shared<TranscriptSegment>(QUuid::createUuid(), start, start + 1,
                                                           QString::fromUtf8(text), speaker);
        context().insert(segment);
        segment->setMeeting(meeting_);
    }

    void run() { runToEnd(state_->runAI(meeting_->id())); }

    std::string lastError() const { return state_->lastAIError().value_or(QStringLiteral("none")).toStdString(); }

    std::string speakers() const {
        QStringList names;
        for (const auto& speaker : meeting_->speakers())
            names += speaker->name();
        return names.join(QStringLiteral(", ")).toStdString();
    }

    std::string summary() const { return meeting_->summary().value_or(QStringLiteral("none")).toStdString(); }

    std::string actionItems() const {
        return meeting_->actionItemsJSON().value_or(QStringLiteral("none")).toStdString();
    }

    std::string topics() const { return meeting_->topicsJSON().value_or(QStringLiteral("none")).toStdString(); }

    // Runs the event loop until no meeting is in a run.
    void waitForEnd() {
        QEventLoop loop;
        QObject::connect(state_.get(), &AppState::aiProcessingMeetingIDsChanged, &loop, [&] {
            if (state_->aiProcessingMeetingIDs().isEmpty())
                loop.quit();
        });
        loop.exec();
    }

    Testing::ApplicationLogRecorder log_;
    ScriptedChatServer server_;
    ModelContainer container_;
    Testing::MemorySettingsStore settingsStore_;
    Settings settings_{settingsStore_};
    VarnelSpeech::Testing::ScriptedRecogniser recogniser_{{"▁hello"}};
    TranscriptionEngine engine_{[this] { return recogniser_.models(); }};
    std::unique_ptr<CurlHttpClient> http_ = std::make_unique<CurlHttpClient>();
    std::unique_ptr<AppState> state_ = std::make_unique<AppState>(AppState::Collaborators{
        .modelContext = container_.mainContext(),
        .settings = settings_,
        .transcriptionEngine = engine_,
        .httpClient = http_.get(),
    });
    std::shared_ptr<Meeting> meeting_;
};

constexpr const char* topicsInOrder = R"([{"title":"Hello","startSeconds":0,"endSeconds":4},)"
                                      R"({"title":"End","startSeconds":4,"endSeconds":5}])";

TEST_F(AppStateAssistant, NamesSpeakersAndStoresSummaryActionItemsAndTopics) {
    run();
    EXPECT_EQ(lastError(), "none");
    EXPECT_EQ(speakers(), "You, Alice, Speaker 2");
    EXPECT_EQ(summary(), "- Everybody said hello.");
    EXPECT_EQ(actionItems(), R"([{"text":"Send it","assignee":"Bob","timestamp":4}])");
    EXPECT_EQ(topics(), topicsInOrder);
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(AppStateAssistant, AsksFourQuestionsAtOnceAboutTheWholeTranscript) {
    meeting_->setCalendarAttendees({{QStringLiteral("Ana"), std::nullopt}});
    settings_.set(SettingKeys::aiModel, QStringLiteral("tiny"));
    server_.hold();
    auto running = state_->runAI(meeting_->id());
    ASSERT_TRUE(server_.waitForRequests(4)) << "none was answered before all four had come";
    EXPECT_EQ(state_->aiProcessingMeetingIDs(), QSet<QUuid>{meeting_->id()});
    const std::string transcript =
        "Transcript:\\n\\n" + Export::plainText(*meeting_).replace(u'\n', QStringLiteral("\\n")).toStdString();
    server_.release();
    runToEnd(std::move(running));
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty());
    ASSERT_EQ(server_.requests().size(), 4U);
    const auto expect = [&](Question question, const std::string& end, const std::string& temperature) {
        const auto asked = server_.requestsFor(question);
        ASSERT_EQ(asked.size(), 1U);
        EXPECT_EQ(asked[0].header("authorization"), "Bearer sk-12345");
        EXPECT_THAT(asked[0].body,
                    ::testing::StartsWith(R"({"model":"tiny","messages":[{"role":"system","content":"You )"));
        EXPECT_THAT(asked[0].body, ::testing::EndsWith(R"("},{"role":"user","content":")" + transcript + end +
                                                       R"("}],"temperature":)" + temperature +
                                                       R"(,"stream":false,"think":false,)"
                                                       R"("chat_template_kwargs":{"enable_thinking":false}})"));
    };
    expect(Question::names, "\\n\\nKnown calendar invitees: Ana\\n\\nOutput:", "0.0");
    expect(Question::summary, "", "0.3");
    expect(Question::actionItems, "\\n\\nOutput:", "0.1");
    expect(Question::topics, "\\n\\nOutput:", "0.1");
    EXPECT_THAT(transcript, ::testing::HasSubstr("[00:02] Speaker 1: Hi, I'm Alice.\\n"));
}

TEST_F(AppStateAssistant, IsRefusedWhenItIsSwitchedOff) {
    settings_.set(SettingKeys::aiEnabled, false);
    settings_.set(SettingKeys::aiBaseURL, QStringLiteral("nonsense"));
    runToEnd(state_->runAI(QUuid::createUuid()));
    EXPECT_EQ(lastError(), disabled) << "whatever else is wrong";
    EXPECT_TRUE(server_.requests().empty());
}

TEST_F(AppStateAssistant, IsRefusedWithoutAURL) {
    settings_.set(SettingKeys::aiBaseURL, QStringLiteral("nonsense"));
    runToEnd(state_->runAI(QUuid::createUuid()));
    EXPECT_EQ(lastError(), "Invalid AI base URL in Settings.");
}

TEST_F(AppStateAssistant, IsRefusedWithoutAMeetingOrItsLines) {
    runToEnd(state_->runAI(QUuid::createUuid()));
    EXPECT_EQ(lastError(), nothingToProcess);
    state_->dismissLastAIError();
    EXPECT_EQ(lastError(), "none");
    for (const auto& segment : context().fetchSegments())
        context().remove(segment);
    run();
    EXPECT_EQ(lastError(), nothingToProcess);
    EXPECT_TRUE(server_.requests().empty());
}

TEST_F(AppStateAssistant, TellsOfItsState) {
    int runs = 0;
    int errors = 0;
    QObject::connect(state_.get(), &AppState::aiProcessingMeetingIDsChanged, state_.get(), [&] { ++runs; });
    QObject::connect(state_.get(), &AppState::lastAIErrorChanged, state_.get(), [&] { ++errors; });
    run();
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(errors, 0);
    server_.answer(Question::summary, Reply::of(500));
    run();
    EXPECT_EQ(runs, 4);
    EXPECT_EQ(errors, 1);
    server_.hold();
    auto running = state_->runAI(meeting_->id());
    EXPECT_EQ(lastError(), "none") << "cleared at the beginning";
    server_.release();
    runToEnd(std::move(running));
}

TEST_F(AppStateAssistant, AFailedStepLeavesTheOthersResults) {
    meeting_->setSummary(QStringLiteral("- Before"));
    meeting_->setActionItemsJSON(QStringLiteral(R"([{"text":"Before"}])"));
    meeting_->setTopicsJSON(QStringLiteral(R"([{"title":"Before","startSeconds":0,"endSeconds":1}])"));

    server_.answer(Question::names, Reply::of(500, "busy"));
    run();
    EXPECT_EQ(lastError(), "Name extraction failed: HTTP 500: busy");
    EXPECT_EQ(speakers(), "You, Speaker 1, Speaker 2");
    EXPECT_EQ(summary(), "- Everybody said hello.");
    EXPECT_EQ(topics(), topicsInOrder);

    server_.answer(Question::names, "[]");
    server_.answer(Question::summary, Reply::of(429, "slow down"));
    run();
    EXPECT_EQ(lastError(), "Summary failed: HTTP 429: slow down");
    EXPECT_EQ(summary(), "- Everybody said hello.") << "the old one stays";
    EXPECT_EQ(topics(), topicsInOrder);

    server_.answer(Question::summary, "- New");
    server_.answer(Question::actionItems, Reply::of(404));
    run();
    EXPECT_EQ(lastError(), "Action items failed: HTTP 404: ");
    EXPECT_EQ(summary(), "- New");
    EXPECT_EQ(actionItems(), "[]") << "the old ones go";
    EXPECT_EQ(topics(), topicsInOrder);

    server_.answer(Question::topics, Reply::of(307));
    run();
    EXPECT_EQ(lastError(), "Topics failed: HTTP 307: ") << "of two failures the last one";
    EXPECT_EQ(topics(), "[]");
}

TEST_F(AppStateAssistant, AFailureMayComeInAnyForm) {
    const Reply whole = Reply::saying("- One");
    for (const auto& [reply, error] : std::vector<std::pair<Reply, std::string>>{
             {whole.cut(10), "Summary failed: "},
             {Reply::of(200, "<html>busy</html>"), "Summary failed: [json.exception."},
             {Reply::of(200, "{\"choices\":[{\"message\":{\"role\":\"a\",\"content\":\"\xff\"}}]}"),
              "Summary failed: [json.exception."},
             {Reply::of(200, "{}"), "Summary failed: The reply is no chat completion: "},
             {Reply::of(200, ""), "Summary failed: [json.exception."},
             {Reply::of(200, std::string(5'000'000, 'x')), "Summary failed: The reply is larger than 4194304 bytes."},
             {Reply::of(500, std::string(5'000'000, 'x')), "Summary failed: HTTP 500: " + std::string(300, 'x')},
             {Reply::of(502, "\xff\xfe"), "Summary failed: HTTP 502: "}}) {
        server_.answer(Question::summary, reply);
        run();
        EXPECT_THAT(lastError(), ::testing::StartsWith(error));
        EXPECT_LT(lastError().size(), 400U);
        EXPECT_EQ(speakers(), "You, Alice, Speaker 2");
    }
}

TEST_F(AppStateAssistant, WhatCannotBeReadIsAnEmptyListAndNoError) {
    for (const char* reply : {"", "I could not find any.", "[", R"([{"text":)", "<think>", "{}"}) {
        for (const Question question : {Question::names, Question::actionItems, Question::topics})
            server_.answer(question, reply);
        run();
        EXPECT_EQ(lastError(), "none");
        EXPECT_EQ(actionItems(), "[]");
        EXPECT_EQ(topics(), "[]");
    }
    EXPECT_EQ(speakers(), "You, Speaker 1, Speaker 2");
}

TEST_F(AppStateAssistant, AnEmptySummaryLeavesTheOldOne) {
    run();
    server_.answer(Question::summary, "<think>nothing to say</think>");
    run();
    EXPECT_EQ(lastError(), "none");
    EXPECT_EQ(summary(), "- Everybody said hello.");
}

TEST_F(AppStateAssistant, AMeetingThatIsDeletedMeanwhileStaysDeleted) {
    server_.hold();
    const QUuid id = meeting_->id();
    auto running = state_->runAI(id);
    ASSERT_TRUE(server_.waitForRequests(4));
    context().remove(meeting_);
    context().save();
    server_.release();
    runToEnd(std::move(running));
    EXPECT_EQ(state_->fetchMeeting(id), nullptr);
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty());
    EXPECT_EQ(lastError(), "none");
    EXPECT_TRUE(context().fetchSpeakers().empty());
}

TEST_F(AppStateAssistant, SpeakersThatWereNamedMeanwhileKeepTheirNames) {
    server_.hold();
    auto running = state_->runAI(meeting_->id());
    ASSERT_TRUE(server_.waitForRequests(4));
    meeting_->speakers()[1]->setName(QStringLiteral("Alicia"));
    server_.release();
    runToEnd(std::move(running));
    EXPECT_EQ(speakers(), "You, Alicia, Speaker 2");
}

TEST_F(AppStateAssistant, AStoppedRunStoresNothing) {
    meeting_->setActionItemsJSON(QStringLiteral(R"([{"text":"Before"}])"));
    server_.hold();
    std::stop_source stop;
    auto running = state_->runAI(meeting_->id(), stop.get_token());
    ASSERT_TRUE(server_.waitForRequests(4));
    stop.request_stop();
    runToEnd(std::move(running));
    EXPECT_EQ(actionItems(), R"([{"text":"Before"}])");
    EXPECT_EQ(speakers(), "You, Speaker 1, Speaker 2");
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty());
    server_.release();
    run();
    EXPECT_EQ(summary(), "- Everybody said hello.") << "the next one runs";
}

TEST_F(AppStateAssistant, SeveralMeetingsMayBeInARun) {
    auto other = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Other"),
                                           QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC));
    context().insert(other);
    auto segment = std::make_shared<TranscriptSegment>(QUuid::createUuid(), 0, 1, QStringLiteral("Well."));
    context().insert(segment);
    segment->setMeeting(other);
    server_.hold();
    auto first = state_->runAI(meeting_->id());
    auto second = state_->runAI(other->id());
    EXPECT_EQ(state_->aiProcessingMeetingIDs(), (QSet<QUuid>{meeting_->id(), other->id()}));
    ASSERT_TRUE(server_.waitForRequests(8));
    server_.release();
    runToEnd(std::move(first));
    runToEnd(std::move(second));
    EXPECT_EQ(other->summary(), QStringLiteral("- Everybody said hello."));
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty());
}

TEST_F(AppStateAssistant, ItsEndLeavesTheMeetingAsItWas) {
    server_.hold();
    auto running = state_->runAI(meeting_->id());
    ASSERT_TRUE(server_.waitForRequests(4));
    state_.reset();
    runToEnd(std::move(running));
    EXPECT_EQ(summary(), "none");
    EXPECT_EQ(actionItems(), "none");
}

TEST_F(AppStateAssistant, TheHttpClientsEndEndsTheRunAtOnce) {
    server_.hold();
    auto running = state_->runAI(meeting_->id());
    ASSERT_TRUE(server_.waitForRequests(4));
    state_.reset();
    http_.reset();
    EXPECT_TRUE(running.isReady());
}

TEST_F(AppStateAssistant, RunsByItselfAfterATranscriptionWhenItIsSwitchedOn) {
    const std::vector<Output::Segment> segments{{0, 1, QStringLiteral("Hello."), QStringLiteral("1"), {}}};
    state_->applyTranscription(meeting_->id(), segments, std::nullopt);
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty()) << "nobody waits for it";
    waitForEnd();
    EXPECT_EQ(summary(), "- Everybody said hello.");

    settings_.set(SettingKeys::aiEnabled, false);
    state_->applyTranscription(meeting_->id(), segments, std::nullopt);
    QCoreApplication::processEvents();
    EXPECT_TRUE(state_->aiProcessingMeetingIDs().isEmpty());
    EXPECT_EQ(lastError(), "none");
    EXPECT_EQ(server_.requests().size(), 4U);
}

TEST_F(AppStateAssistant, TheKeyIsInNoErrorAndNoLogLine) {
    server_.answerAll(Reply::of(401, "no such key: sk-12345"));
    run();
    EXPECT_EQ(lastError(), "Topics failed: HTTP 401: no such key: ********");
    server_.answerAll(Reply::saying("your key is sk-12345"));
    run();
    for (const QString& logged : log_.lines())
        EXPECT_FALSE(logged.contains(QStringLiteral("sk-12345"))) << logged.toStdString();
    EXPECT_EQ(log_.lines().size(), 3);
}

} // namespace
} // namespace Varnel
