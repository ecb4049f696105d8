#include "EndToEnd/Sandbox.h"

#include "support/ScriptedChatServer.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <signal.h>

#include <algorithm>
#include <cctype>

namespace Varnel::Testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Question = ScriptedChatServer::Question;
using Reply = ScriptedChatServer::Reply;

constexpr const char* key = "sk-varnel-endtoend-3141592653";

// The assistant through the built program, on a meeting made of real speech.
class AssistantTest : public Sandbox {
protected:
    void SetUp() override {
        writeSpeech(path("talk.wav"), 4);
        output({"transcribe", "--save", "--quiet", "talk.wav"});
        output({"ai", "provider", "custom", "--url", server.baseURL(), "--model", "tiny", "--quiet"});
        output({"settings", "set", "aiEnabled", "true"});
        options.input = std::string(key) + "\n";
        output({"settings", "set", "aiAPIKey", "-"});
        options.input.clear();
        server.answer(Question::names, R"([{"speakerKey":"Speaker 1","name":"Alice"}])");
        server.answer(Question::summary, "- Somebody spoke.");
        server.answer(Question::actionItems, "```json\n[{\"text\":\"Send it\",\"assignee\":\"Alice\"}]\n```");
        server.answer(Question::topics, R"([{"title":"Hello","startSeconds":0,"endSeconds":4}])");
    }

    nlohmann::json meeting() { return nlohmann::json::parse(output({"meetings", "show", "latest", "--json"})); }

    // Whether a running process shows the text among its arguments.
    static bool isInProcessList(const std::string& text) {
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename().string();
            const bool isProcess =
                std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c); });
            if (isProcess && contentsOf(entry.path() / "cmdline").find(text) != std::string::npos)
                return true;
        }
        return false;
    }

    ScriptedChatServer server;
};

TEST_F(AssistantTest, NamesSpeakersAndStoresWhatMeetingsShowPrints) {
    const std::string before = output({"meetings", "show", "latest"});
    EXPECT_THAT(before, HasSubstr("[00:00] Speaker 1: "));
    EXPECT_THAT(output({"ai", "run", "latest"}), HasSubstr("- Somebody spoke.\n"));
    const std::string after = output({"meetings", "show", "latest"});
    EXPECT_THAT(after, HasSubstr("[00:00] Alice: "));
    EXPECT_THAT(after, HasSubstr("\nSummary\n- Somebody spoke.\n"
                                 "\nAction items\n- Send it (Alice)\n"
                                 "\nTopics\n- [0:00 - 0:04] Hello\n"));
    ASSERT_EQ(server.requests().size(), 4U);
    const std::string line = before.substr(before.find("[00:00] Speaker 1: "));
    for (const auto& request : server.requests())
        EXPECT_THAT(nlohmann::json::parse(request.body)["messages"][1]["content"].get<std::string>(),
                    HasSubstr(line.substr(0, line.find('\n'))));
}

TEST_F(AssistantTest, TheKeyReachesTheServerAndNothingElse) {
    server.answerAll(Reply::of(401, std::string("no such key: ") + key));
    server.hold();
    const auto program = start({"ai", "run", "latest", "--verbose"});
    ASSERT_TRUE(server.waitForRequests(4));
    EXPECT_FALSE(isInProcessList(key));
    EXPECT_TRUE(isInProcessList("--verbose")) << "the list is really read";
    server.release();
    const Finished finished = program->wait();
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_THAT(finished.err, HasSubstr("varnel: Topics failed: HTTP 401: no such key: ****"));
    server.answerAll(Reply::saying(std::string("the key is ") + key));
    const Finished second = run({"ai", "run", "latest", "--verbose"});
    for (const std::string& text : {finished.out, finished.err, second.err, contentsOf(log())})
        EXPECT_THAT(text, Not(HasSubstr(key)));
    EXPECT_THAT(contentsOf(log()), HasSubstr("AIPostProcessor.extractNames raw response: the key is ****"));
    for (const auto& request : server.requests())
        EXPECT_EQ(request.header("authorization"), std::string("Bearer ") + key);
}

TEST_F(AssistantTest, AServerThatNeverAnswersIsLeftWithCtrlC) {
    server.hold();
    const auto before = meeting();
    auto program = start({"ai", "run", "latest"});
    ASSERT_TRUE(server.waitForRequests(4));
    program->send(SIGINT);
    Finished finished = program->wait();
    EXPECT_EQ(finished.exitCode, 130);
    EXPECT_EQ(finished.err, "varnel: cancelled\n");
    EXPECT_EQ(meeting(), before);
    program = start({"ai", "ping"});
    ASSERT_TRUE(server.waitForRequests(5));
    program->send(SIGTERM);
    finished = program->wait();
    EXPECT_EQ(finished.exitCode, 143);
    server.release();
    EXPECT_EQ(output({"ai", "ping"}), "Connected\n");
}

TEST_F(AssistantTest, AMeetingThatAnotherProcessDeletesMeanwhileStaysDeleted) {
    server.hold();
    const auto program = start({"ai", "run", "latest"});
    ASSERT_TRUE(server.waitForRequests(4));
    output({"meetings", "delete", "latest", "--yes"});
    server.release();
    const Finished finished = program->wait();
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.err, "varnel: the meeting was deleted meanwhile\n");
    EXPECT_TRUE(nlohmann::json::parse(output({"meetings", "list", "--json"})).empty());
}

TEST_F(AssistantTest, RunsAfterAMeetingIsTranscribedAgain) {
    output({"ai", "run", "latest", "--quiet"});
    server.answer(Question::summary, "- Somebody spoke again.");
    output({"meetings", "retranscribe", "latest", "--quiet"});
    EXPECT_EQ(server.requests().size(), 8U);
    EXPECT_EQ(meeting()["summary"], "- Somebody spoke again.");
    EXPECT_EQ(meeting()["speakers"][0]["name"], "You") << "one voice on a recording is the user's";
    output({"settings", "set", "aiEnabled", "false"});
    output({"meetings", "retranscribe", "latest", "--quiet"});
    EXPECT_EQ(server.requests().size(), 8U);
}

} // namespace
} // namespace Varnel::Testing
