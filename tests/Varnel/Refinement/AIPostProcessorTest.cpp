#include "Varnel/Refinement/AIPostProcessor.h"

#include "Varnel/Refinement/AIPrompts.h"
#include "Varnel/Refinement/LLMClientError.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/ApplicationLogRecorder.h"
#include "support/EventLoop.h"
#include "support/ScriptedHttpClient.h"

#include "Varnel/Refinement/SampleMeeting.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace Varnel {
namespace {

class AIPostProcessorTest : public ::testing::Test {
protected:
    void answer(const std::string& content) {
        const nlohmann::json message{{"role", "assistant"}, {"content", content}};
        http_.answer(200, QByteArray::fromStdString(
                              nlohmann::json{{"choices", nlohmann::json::array({{{"message", message}}})}}.dump()));
    }

    LLMClient client() {
        LLMConfig config;
        config.baseURL = QUrl(QStringLiteral("http://127.0.0.1:1/v1"));
        config.apiKey = QStringLiteral("sk-12345");
        return {config, http_};
    }

    // What the last request asked.
    nlohmann::json body() const { return nlohmann::json::parse(http_.requests.last().body.toStdString()); }

    std::string user() const { return body()["messages"][1]["content"]; }

    void expectQuestion(const char* system, double temperature, double timeout) const {
        EXPECT_EQ(body()["messages"][0]["content"], system);
        EXPECT_EQ(body()["temperature"], temperature);
        EXPECT_EQ(http_.requests.last().timeout, timeout);
    }

    QList<NameMatch> names(std::optional<QString> invitees = {}) {
        return runToEnd(AIPostProcessor::extractNames(client(), QStringLiteral("T"), std::move(invitees)));
    }

    std::optional<QString> summary() { return runToEnd(AIPostProcessor::summarize(client(), QStringLiteral("T"))); }

    QList<ActionItem> items() { return runToEnd(AIPostProcessor::extractActionItems(client(), QStringLiteral("T"))); }

    QList<Topic> topics() { return runToEnd(AIPostProcessor::extractTopics(client(), QStringLiteral("T"))); }

    Testing::ApplicationLogRecorder log_;
    Testing::ScriptedHttpClient http_;
};

QByteArray digest(const char* text) {
    return QCryptographicHash::hash(QByteArray(text), QCryptographicHash::Sha256).toHex();
}

TEST_F(AIPostProcessorTest, ThePromptsStayAsTheyAre) {
    EXPECT_EQ(digest(AIPrompts::names), "4a9381effea4b17c394351d723c1b7f2241347d32bdab2cadf26e3408ad7a8b9");
    EXPECT_EQ(digest(AIPrompts::summary), "c714e71daa7458e82eceb00d78d86d790eea16df3b25192cbcec163d245d4cf3");
    EXPECT_EQ(digest(AIPrompts::actionItems), "b41b078b682a9ea555011b1ab89e820c969c78c18588397d079699d7ab363a7b");
    EXPECT_EQ(digest(AIPrompts::topics), "8d3b8cc542e014ab6821ead142a9ee3e8cd1e2feca7afc679d240814a6f94025");
}

TEST_F(AIPostProcessorTest, AsksForNames) {
    answer("[]");
    names();
    expectQuestion(AIPrompts::names, 0.0, 120);
    EXPECT_EQ(user(), "Transcript:\n\nT\n\nOutput:");
    names(QString());
    EXPECT_EQ(user(), "Transcript:\n\nT\n\nOutput:");
    names(QStringLiteral("Ana, Bo"));
    EXPECT_EQ(user(), "Transcript:\n\nT\n\nKnown calendar invitees: Ana, Bo\n\nOutput:");
}

TEST_F(AIPostProcessorTest, AsksForASummary) {
    answer("- One");
    summary();
    expectQuestion(AIPrompts::summary, 0.3, 180);
    EXPECT_EQ(user(), "Transcript:\n\nT");
}

TEST_F(AIPostProcessorTest, AsksForActionItems) {
    answer("[]");
    items();
    expectQuestion(AIPrompts::actionItems, 0.1, 120);
    EXPECT_EQ(user(), "Transcript:\n\nT\n\nOutput:");
}

TEST_F(AIPostProcessorTest, AsksForTopics) {
    answer("[]");
    topics();
    expectQuestion(AIPrompts::topics, 0.1, 120);
    EXPECT_EQ(user(), "Transcript:\n\nT\n\nOutput:");
}

TEST_F(AIPostProcessorTest, KeepsNamesOfWhichNeitherHalfIsEmpty) {
    answer(R"([{"speakerKey":"","name":"a"},{"speakerKey":"b","name":""},{"speakerKey":" ","name":" "},)"
           R"({"speakerKey":"Speaker 1","name":"Ana"}])");
    EXPECT_EQ(names(), (QList<NameMatch>{{QStringLiteral(" "), QStringLiteral(" ")},
                                         {QStringLiteral("Speaker 1"), QStringLiteral("Ana")}}));
    EXPECT_EQ(log_.lines().size(), 1);
}

TEST_F(AIPostProcessorTest, AnEmptyReplyIsNoNamesAndNoError) {
    answer("");
    EXPECT_TRUE(names().isEmpty());
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("AIPostProcessor.extractNames raw response: ")});
}

TEST_F(AIPostProcessorTest, TheSummaryIsKeptAsItComes) {
    answer(" \n- One\n- **Two**\n```\n");
    EXPECT_EQ(summary(), QStringLiteral("- One\n- **Two**\n```"));
    answer("<think>hm</think>\n- One");
    EXPECT_EQ(summary(), QStringLiteral("- One"));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(AIPostProcessorTest, AnEmptySummaryIsNone) {
    for (const char* content : {"", " \n\t ", "<think>hm</think>"}) {
        answer(content);
        EXPECT_EQ(summary(), std::nullopt);
    }
}

TEST_F(AIPostProcessorTest, KeepsActionItemsWithATextAndTheTextAsItIs) {
    answer("[{\"text\":\" \\t\"},{\"text\":\"\"},{\"text\":\" Send it \\n\",\"timestamp\":2},{\"text\":\"\\n\"}]");
    const QList<ActionItem> kept = items();
    ASSERT_EQ(kept.size(), 2);
    EXPECT_EQ(kept[0].text, QStringLiteral(" Send it \n"));
    EXPECT_EQ(kept[1].text, QStringLiteral("\n")) << "only spaces and tabs are trimmed";
}

TEST_F(AIPostProcessorTest, TopicsAreSortedByTheirBeginningAndOverlapsStay) {
    answer(R"([{"title":"c","startSeconds":60,"endSeconds":80},{"title":" ","startSeconds":1,"endSeconds":2},)"
           R"({"title":"b","startSeconds":0,"endSeconds":70},{"title":"a","startSeconds":0,"endSeconds":10}])");
    QStringList titles;
    for (const Topic& topic : topics())
        titles += topic.title;
    EXPECT_EQ(titles, (QStringList{QStringLiteral("b"), QStringLiteral("a"), QStringLiteral("c")}));
}

TEST_F(AIPostProcessorTest, LogsTheBeginningOfEachListsReply) {
    answer("x" + std::string(600, 'y'));
    names();
    items();
    topics();
    const QString beginning = u'x' + QString(499, u'y');
    EXPECT_EQ(log_.lines(),
              (QStringList{QStringLiteral("AIPostProcessor.extractNames raw response: ") + beginning,
                           QStringLiteral("AIPostProcessor.extractActionItems raw response: ") + beginning,
                           QStringLiteral("AIPostProcessor.extractTopics raw response: ") + beginning}));
}

TEST_F(AIPostProcessorTest, TheKeyIsNeverLogged) {
    answer("your key is sk-12345");
    names();
    EXPECT_EQ(log_.lines(),
              QStringList{QStringLiteral("AIPostProcessor.extractNames raw response: your key is ********")});
}

TEST_F(AIPostProcessorTest, FailsWithTheClientsError) {
    http_.answer(503, "busy");
    EXPECT_THROW(names(), LLMClientError);
    EXPECT_THROW(summary(), LLMClientError);
    EXPECT_THROW(items(), LLMClientError);
    EXPECT_THROW(topics(), LLMClientError);
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(AIPostProcessorTest, InviteesAreTheNamesOfTheAttendees) {
    Testing::SampleMeeting sample(QStringLiteral("Planning"));
    EXPECT_EQ(AIPostProcessor::invitees(*sample.meeting), std::nullopt);
    sample.meeting->setCalendarAttendees({{QString(), QStringLiteral("nobody@example.org")}});
    EXPECT_EQ(AIPostProcessor::invitees(*sample.meeting), std::nullopt);
    sample.meeting->setCalendarAttendees({{QStringLiteral("Ana"), QStringLiteral("ana@example.org")},
                                          {QString(), QStringLiteral("nobody@example.org")},
                                          {QStringLiteral("Bo"), std::nullopt}});
    EXPECT_EQ(AIPostProcessor::invitees(*sample.meeting), QStringLiteral("Ana, Bo"));
    sample.meeting->setCalendarAttendeesJSON(QStringLiteral("damaged"));
    EXPECT_EQ(AIPostProcessor::invitees(*sample.meeting), std::nullopt);
}

} // namespace
} // namespace Varnel
