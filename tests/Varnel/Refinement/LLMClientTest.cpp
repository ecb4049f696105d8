#include "Varnel/Refinement/LLMClient.h"

#include "Varnel/Platform/Linux/CurlHttpClient.h"
#include "Varnel/Refinement/LLMClientError.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/EventLoop.h"
#include "support/ScriptedChatServer.h"
#include "support/ScriptedHttpClient.h"

#include <gmock/gmock.h>

namespace Varnel {
namespace {

constexpr const char* emptyReply = R"({"choices":[]})";

class LLMClientTest : public ::testing::Test {
protected:
    LLMClientTest() {
        config_.baseURL = QUrl(QStringLiteral("http://127.0.0.1:1/v1"));
        config_.model = QStringLiteral("tiny");
        config_.provider = QStringLiteral("ollama");
        http_.answer(200, emptyReply);
    }

    LLMClient client() { return {config_, http_}; }

    QString chat() { return runToEnd(client().chat(QStringLiteral("S"), QStringLiteral("U"), 0.1, 120)); }

    // The error that the chat ends with.
    LLMClientError failure() {
        try {
            chat();
        } catch (const LLMClientError& error) {
            return error;
        }
        throw std::runtime_error("no failure");
    }

    Testing::ScriptedHttpClient http_;
    LLMConfig config_;
};

TEST_F(LLMClientTest, SendsOneChatCompletion) {
    config_.apiKey = QStringLiteral("secret");
    std::stop_source stop;
    runToEnd(client().chat(QStringLiteral("S"), QStringLiteral("U"), 0.1, 180, stop.get_token()));
    ASSERT_EQ(http_.requests.size(), 1);
    const HttpRequest& request = http_.requests[0];
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.url, QUrl(QStringLiteral("http://127.0.0.1:1/v1/chat/completions")));
    EXPECT_EQ(request.timeout, 180);
    ASSERT_EQ(request.headers.size(), 2);
    EXPECT_EQ(request.headers[0].name + ": " + request.headers[0].value, "Content-Type: application/json");
    EXPECT_EQ(request.headers[1].name + ": " + request.headers[1].value, "Authorization: Bearer secret");
    stop.request_stop();
    EXPECT_TRUE(request.stop.stop_requested());
}

TEST_F(LLMClientTest, TheBodyForALocalServerSwitchesThinkingOff) {
    chat();
    EXPECT_EQ(http_.requests[0].body,
              R"({"model":"tiny","messages":[{"role":"system","content":"S"},{"role":"user","content":"U"}],)"
              R"("temperature":0.1,"stream":false,"think":false,"chat_template_kwargs":{"enable_thinking":false}})");
}

TEST_F(LLMClientTest, TheBodyForThePublicServiceDoesNot) {
    config_.provider = QStringLiteral("openai");
    chat();
    EXPECT_EQ(http_.requests[0].body,
              R"({"model":"tiny","messages":[{"role":"system","content":"S"},{"role":"user","content":"U"}],)"
              R"("temperature":0.1,"stream":false})");
}

TEST_F(LLMClientTest, ACustomServerWithoutAKeyGetsTheSwitchesAndNoAuthorization) {
    config_.provider = QStringLiteral("custom");
    chat();
    EXPECT_EQ(http_.requests[0].body,
              R"({"model":"tiny","messages":[{"role":"system","content":"S"},{"role":"user","content":"U"}],)"
              R"("temperature":0.1,"stream":false,"think":false,"chat_template_kwargs":{"enable_thinking":false}})");
    ASSERT_EQ(http_.requests[0].headers.size(), 1);
    EXPECT_EQ(http_.requests[0].headers[0].name, "Content-Type");
}

TEST_F(LLMClientTest, TextsAreWrittenAsTheyAre) {
    runToEnd(client().chat(QStringLiteral("\"quoted\" a/b\\"), QStringLiteral("ä\n\t\u0001😀"), 0.0, 120));
    EXPECT_THAT(http_.requests[0].body.toStdString(),
                ::testing::HasSubstr(R"({"role":"system","content":"\"quoted\" a/b\\"},)"
                                     R"({"role":"user","content":"ä\n\t\u0001😀"}],"temperature":0.0,)"));
}

TEST_F(LLMClientTest, GivesTheTextWithoutItsReasoning) {
    http_.answer(200, R"({"choices":[{"message":{"role":"assistant","content":"<think>hm</think>\n Yes. "}}]})");
    EXPECT_EQ(chat(), QStringLiteral("Yes."));
    http_.answer(200, R"({"choices":[{"message":{"role":"assistant","content":"<think>hm</think>"}}]})");
    EXPECT_EQ(chat(), QString());
    http_.answer(200, emptyReply);
    EXPECT_EQ(chat(), QString());
}

TEST_F(LLMClientTest, EveryStatusFrom200To299IsAnAnswer) {
    for (const int status : {200, 201, 299}) {
        http_.answer(status, emptyReply);
        EXPECT_EQ(chat(), QString());
    }
}

TEST_F(LLMClientTest, AnyOtherStatusIsAnErrorWithTheBeginningOfTheBody) {
    for (const int status : {-1, 100, 199, 300, 307, 401, 404, 429, 500, 599}) {
        http_.answer(status, "busy\n");
        const LLMClientError error = failure();
        EXPECT_STREQ(LLMClientError::domain, "LLMClient");
        EXPECT_EQ(error.error(), LLMClientError::Case::status);
        EXPECT_EQ(error.code(), status);
        EXPECT_EQ(std::string(error.what()), "HTTP " + std::to_string(status) + ": busy\n");
    }
    http_.answer(500, {});
    EXPECT_STREQ(failure().what(), "HTTP 500: ");
}

TEST_F(LLMClientTest, TheBodyInAnErrorIsCutAfter300Characters) {
    http_.answer(500, QByteArray("ä").repeated(301));
    EXPECT_EQ(QString::fromUtf8(failure().what()), QStringLiteral("HTTP 500: ") + QString(300, u'ä'));
    http_.answer(500, QByteArray("😀").repeated(400));
    EXPECT_EQ(QString::fromUtf8(failure().what()), QStringLiteral("HTTP 500: ") + QStringLiteral("😀").repeated(300));
    http_.answer(500, QByteArray(300, 'x'));
    EXPECT_EQ(QByteArray(failure().what()), "HTTP 500: " + QByteArray(300, 'x'));
}

TEST_F(LLMClientTest, ABodyThatIsNoTextIsLeftOut) {
    for (const QByteArray body : {"\xff", "fine so far \xc3", "\xed\xa0\x80", "a\x80"}) {
        http_.answer(502, body);
        EXPECT_STREQ(failure().what(), "HTTP 502: ");
    }
}

TEST_F(LLMClientTest, TheKeyIsMaskedWhereTheServerSendsItBack) {
    config_.apiKey = QStringLiteral("sk-12345");
    http_.answer(401, "No such key: sk-12345, sk-12345");
    EXPECT_STREQ(failure().what(), "HTTP 401: No such key: ********, ********");
    http_.answer(401, QByteArray(296, 'x') + "sk-12345");
    EXPECT_EQ(QByteArray(failure().what()), "HTTP 401: " + QByteArray(296, 'x') + "****") << "no part of it either";
    http_.answer(200, "{\"sk-12345");
    EXPECT_THAT(failure().what(), ::testing::Not(::testing::HasSubstr("sk-12345")));
}

TEST_F(LLMClientTest, AMalformedReplyIsAnError) {
    http_.answer(200, R"({"choices":[{"message":{"role":"assistant","content":null}}]})");
    EXPECT_EQ(failure().error(), LLMClientError::Case::malformedReply);
    http_.answer(200, "not json");
    EXPECT_EQ(failure().error(), LLMClientError::Case::malformedReply);
}

TEST_F(LLMClientTest, ATransportErrorIsPassedOn) {
    http_.reply = [](const HttpRequest&) -> HttpReply {
        throw HttpClientError(HttpClientError::Case::timedOut, "Operation timed out");
    };
    try {
        chat();
        FAIL();
    } catch (const HttpClientError& error) {
        EXPECT_EQ(error.error(), HttpClientError::Case::timedOut);
        EXPECT_STREQ(error.what(), "Operation timed out");
    }
    EXPECT_EQ(http_.requests.size(), 1) << "nothing is tried again";
    EXPECT_THROW(runToEnd(client().ping()), HttpClientError);
}

TEST_F(LLMClientTest, PingAsksForTheModels) {
    config_.apiKey = QStringLiteral("secret");
    EXPECT_TRUE(runToEnd(client().ping()));
    const HttpRequest& request = http_.requests[0];
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.url, QUrl(QStringLiteral("http://127.0.0.1:1/v1/models")));
    EXPECT_EQ(request.timeout, 10);
    EXPECT_TRUE(request.body.isEmpty());
    ASSERT_EQ(request.headers.size(), 1);
    EXPECT_EQ(request.headers[0].name + ": " + request.headers[0].value, "Authorization: Bearer secret");
    config_.apiKey.reset();
    runToEnd(client().ping());
    EXPECT_TRUE(http_.requests[1].headers.isEmpty());
}

TEST_F(LLMClientTest, PingIsTrueForASuccessAndFalseForAnyOtherStatus) {
    for (const int status : {-1, 199, 200, 204, 299, 300, 401, 404, 500}) {
        http_.answer(status, "not json");
        EXPECT_EQ(runToEnd(client().ping()), status >= 200 && status <= 299) << status;
    }
}

TEST_F(LLMClientTest, SpeaksToARealServer) {
    Testing::ScriptedChatServer server;
    CurlHttpClient http;
    config_.baseURL = QUrl(QString::fromStdString(server.baseURL()));
    config_.apiKey = QStringLiteral("secret");
    server.answer(Testing::ScriptedChatServer::Question::other, "<think>hm</think>Yes");
    const LLMClient client(config_, http);
    EXPECT_TRUE(runToEnd(client.ping()));
    EXPECT_EQ(runToEnd(client.chat(QStringLiteral("S"), QStringLiteral("U"), 0.0, 120)), QStringLiteral("Yes"));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].method + " " + requests[0].target, "GET /v1/models");
    EXPECT_EQ(requests[0].header("content-type"), "");
    EXPECT_EQ(requests[1].method + " " + requests[1].target, "POST /v1/chat/completions");
    EXPECT_EQ(requests[1].header("authorization"), "Bearer secret");
    EXPECT_EQ(requests[1].body,
              R"({"model":"tiny","messages":[{"role":"system","content":"S"},{"role":"user","content":"U"}],)"
              R"("temperature":0.0,"stream":false,"think":false,"chat_template_kwargs":{"enable_thinking":false}})");
}

} // namespace
} // namespace Varnel
