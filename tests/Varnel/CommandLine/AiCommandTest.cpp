#include "Varnel/CommandLine/CommandLineFixture.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/ModelContainer.h"
#include "support/ScriptedChatServer.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace Varnel::CommandLine {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Json = nlohmann::json;
using Varnel::Testing::ScriptedChatServer;
using Question = ScriptedChatServer::Question;
using Reply = ScriptedChatServer::Reply;

class AiCommandTest : public Testing::CommandLineFixture {
protected:
    // A setting as it is stored.
    std::string setting(const std::string& key) {
        EXPECT_EQ(run({"settings", "get", key}), 0);
        return output.substr(0, output.size() - 1);
    }

    void useServer() {
        EXPECT_EQ(run({"ai", "provider", "custom", "--url", server.baseURL(), "--model", "tiny"}), 0) << error;
        EXPECT_EQ(run({"settings", "set", "aiEnabled", "true"}), 0) << error;
    }

    void addMeeting() {
        ModelContainer container(store());
        ModelContext& context = container.mainContext();
        const auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Planning"),
                                                       QDateTime(QDate(2026, 11, 16), QTime(9, 1), Qt::UTC));
        context.insert(meeting);
        const auto speaker = std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("Speaker 1"),
                                                       QStringLiteral("#EC4899"), false);
        context.insert(speaker);
        speaker->setMeeting(meeting);
        const auto segment =
            std::make_shared<TranscriptSegment>(QUuid::createUuid(), 0, 1, QStringLiteral("I'm Alice."), speaker);
        context.insert(segment);
        segment->setMeeting(meeting);
        context.save();
    }

    ScriptedChatServer server;
};

TEST_F(AiCommandTest, ShowsTheLocalProviderAtFirst) {
    EXPECT_EQ(run({"ai", "provider"}), 0);
    EXPECT_EQ(output, "Provider: ollama\nURL:      http://localhost:11434/v1\nModel:    qwen3.5:2b\n");
    EXPECT_EQ(run({"ai", "provider", "--json"}), 0);
    EXPECT_EQ(Json::parse(output),
              Json({{"aiProvider", "ollama"}, {"aiBaseURL", "http://localhost:11434/v1"}, {"aiModel", "qwen3.5:2b"}}));
}

TEST_F(AiCommandTest, SwitchesTheProviderAsTheSettingsDo) {
    EXPECT_EQ(run({"ai", "provider", "openai"}), 0);
    EXPECT_EQ(output, "Provider: openai\nURL:      https://api.openai.com/v1\nModel:    gpt-4o-mini\n");
    EXPECT_EQ(run({"ai", "provider", "custom"}), 0);
    EXPECT_EQ(setting("aiBaseURL"), "https://api.openai.com/v1");
    EXPECT_EQ(run({"ai", "provider", "ollama"}), 0);
    EXPECT_EQ(setting("aiProvider"), "ollama");
    EXPECT_EQ(setting("aiBaseURL"), "http://localhost:11434/v1");
    EXPECT_EQ(setting("aiModel"), "qwen3.5:2b");
    EXPECT_EQ(run({"ai", "provider", "ollama", "--model", "mistral"}), 0);
    EXPECT_EQ(setting("aiModel"), "mistral");
    EXPECT_EQ(run({"ai", "provider", "custom", "--url", "http://host:1/v1", "--model", "m"}), 0);
    EXPECT_EQ(output, "Provider: custom\nURL:      http://host:1/v1\nModel:    m\n");
}

TEST_F(AiCommandTest, RefusesAWrongProviderBeforeItChangesAnything) {
    for (const Testing::Arguments& arguments :
         std::vector<Testing::Arguments>{{"ai", "provider", "Ollama"},
                                         {"ai", "provider", "openai", "--url", "http://host/v1"},
                                         {"ai", "provider", "custom", "--url", "localhost:8080"},
                                         {"ai", "provider", "custom", "--url", "http://ho st/"},
                                         {"ai", "provider", "custom", "--model", "\xff"},
                                         {"ai", "provider", "--model", "m"},
                                         {"ai"}}) {
        EXPECT_EQ(run(arguments), 2) << ::testing::PrintToString(arguments);
        EXPECT_THAT(error, StartsWith("varnel: "));
        EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
    }
    EXPECT_EQ(setting("aiProvider"), "ollama");
    EXPECT_EQ(setting("aiModel"), "qwen3.5:2b");
}

TEST_F(AiCommandTest, PingTellsWhetherTheServerAnswers) {
    useServer();
    EXPECT_EQ(run({"ai", "ping"}), 0) << error;
    EXPECT_EQ(output, "Connected\n");
    server.answer(Question::models, Reply::of(404));
    EXPECT_EQ(run({"ai", "ping"}), 1);
    EXPECT_EQ(error, "varnel: No response\n");
    server.answer(Question::models, Reply::of(200, "x").cut(0));
    EXPECT_EQ(run({"ai", "ping"}), 1);
    EXPECT_THAT(error, StartsWith("varnel: Failed: "));
    EXPECT_EQ(run({"settings", "set", "aiBaseURL", "localhost"}), 0);
    EXPECT_EQ(run({"ai", "ping"}), 1);
    EXPECT_EQ(error, "varnel: Invalid base URL\n");
}

TEST_F(AiCommandTest, RunStoresTheAnswersAndPrintsThem) {
    useServer();
    addMeeting();
    server.answer(Question::names, R"([{"speakerKey":"Speaker 1","name":"Alice"}])");
    server.answer(Question::summary, "- Alice said hello.\n- Nothing else.");
    server.answer(Question::actionItems, R"([{"text":"Send it","assignee":"Alice","timestamp":64}])");
    server.answer(Question::topics, R"([{"title":"Hello","startSeconds":0,"endSeconds":1}])");
    EXPECT_EQ(run({"ai", "run", "latest"}), 0) << error;
    const std::string answers = "\nSummary\n- Alice said hello.\n- Nothing else.\n"
                                "\nAction items\n- Send it (Alice) [1:04]\n"
                                "\nTopics\n- [0:00 - 0:01] Hello\n";
    EXPECT_EQ(output, "Speakers: Alice\n" + answers);
    EXPECT_EQ(error, "");
    EXPECT_EQ(run({"meetings", "show", "latest"}), 0);
    EXPECT_THAT(output, HasSubstr("Speakers: Alice\n" + answers + "\nTranscript\n[00:00] Alice: I'm Alice.\n"));
    EXPECT_EQ(run({"ai", "run", "latest", "--json"}), 0);
    EXPECT_EQ(Json::parse(output)["actionItems"][0]["assignee"], "Alice");
}

TEST_F(AiCommandTest, RunTellsWhatFailedAndKeepsTheRest) {
    useServer();
    addMeeting();
    server.answer(Question::summary, "- Kept.");
    server.answer(Question::topics, Reply::of(503, "over\nloaded"));
    EXPECT_EQ(run({"ai", "run", "latest"}), 1);
    EXPECT_EQ(output, "");
    EXPECT_EQ(error, "varnel: Topics failed: HTTP 503: over\\nloaded\n");
    EXPECT_EQ(run({"meetings", "show", "latest"}), 0);
    EXPECT_THAT(output, HasSubstr("- Kept.\n"));
}

TEST_F(AiCommandTest, RunIsRefusedWhenItCannotWork) {
    useServer();
    EXPECT_EQ(run({"ai", "run", "latest"}), 1);
    addMeeting();
    EXPECT_EQ(run({"settings", "set", "aiBaseURL", "localhost"}), 0);
    EXPECT_EQ(run({"ai", "run", "latest"}), 1);
    EXPECT_EQ(error, "varnel: Invalid AI base URL in Settings.\n");
    EXPECT_EQ(run({"settings", "set", "aiEnabled", "false"}), 0);
    EXPECT_EQ(run({"ai", "run", "latest"}), 1);
    EXPECT_EQ(error, "varnel: AI assistant is disabled in Settings.\n");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(AiCommandTest, TheKeyComesFromStandardInputAndShowsInNoList) {
    EXPECT_EQ(run({"settings", "set", "aiAPIKey", "-"}, "sk-12345\n"), 0);
    EXPECT_EQ(setting("aiAPIKey"), "sk-12345");
    EXPECT_EQ(run({"settings", "list"}), 0);
    EXPECT_THAT(output, ::testing::Not(HasSubstr("sk-12345")));
    EXPECT_EQ(run({"settings", "list", "--json"}), 0);
    EXPECT_EQ(Json::parse(output)["aiAPIKey"], "********");
    useServer();
    EXPECT_EQ(run({"ai", "ping"}), 0);
    EXPECT_EQ(server.requests()[0].header("authorization"), "Bearer sk-12345");
    EXPECT_EQ(run({"ai", "provider"}), 0);
    EXPECT_THAT(output, ::testing::Not(HasSubstr("sk-12345")));
}

} // namespace
} // namespace Varnel::CommandLine
