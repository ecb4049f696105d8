#include "Varnel/Platform/Linux/CurlHttpClient.h"

#include "support/EnvironmentScope.h"
#include "support/EventLoop.h"
#include "support/ScriptedChatServer.h"
#include "support/TestTlsServer.h"

#include <QEventLoop>

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <thread>

namespace Varnel {
namespace {

using Case = HttpClientError::Case;
using Testing::ScriptedChatServer;
using Reply = ScriptedChatServer::Reply;
using Question = ScriptedChatServer::Question;

// What a request came to.
struct Result {
    std::optional<HttpReply> reply;
    std::optional<Case> error;
    std::string text;
};

QCoro::Task<> keep(QCoro::Task<HttpReply> task, std::shared_ptr<Result> result, QEventLoop* loop) {
    try {
        result->reply = co_await task;
    } catch (const HttpClientError& error) {
        result->error = error.error();
        result->text = error.what();
    }
    if (loop != nullptr)
        loop->quit();
}

class CurlHttpClientTest : public ::testing::Test {
protected:
    Result finish(QCoro::Task<HttpReply> task) {
        const auto result = std::make_shared<Result>();
        QEventLoop loop;
        const auto keeping = keep(std::move(task), result, &loop);
        if (!result->reply && !result->error)
            loop.exec();
        return *result;
    }

    Result send(const HttpRequest& request) { return finish(client->send(request)); }

    HttpRequest get(const char* path = "/models") const {
        HttpRequest request;
        request.url = QUrl(QString::fromStdString(server.baseURL()) + QLatin1String(path));
        return request;
    }

    HttpRequest post(const QByteArray& body) const {
        HttpRequest request = get("/chat/completions");
        request.method = "POST";
        request.body = body;
        return request;
    }

    ScriptedChatServer server;
    std::unique_ptr<CurlHttpClient> client = std::make_unique<CurlHttpClient>();
};

TEST_F(CurlHttpClientTest, SendsExactlyTheBytesItIsGiven) {
    HttpRequest request = post("{\"a\":\"\xc3\xa4\"}");
    request.headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer secret"}, {"X-Empty", ""}};
    const Result result = send(request);
    ASSERT_TRUE(result.reply) << result.text;
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1U);
    const std::string host = server.baseURL().substr(7, server.baseURL().size() - 10);
    EXPECT_EQ(requests[0].bytes, "POST /v1/chat/completions HTTP/1.1\r\nHost: " + host +
                                     "\r\nUser-Agent: Varnel\r\nAccept: */*\r\nContent-Type: application/json\r\n"
                                     "Authorization: Bearer secret\r\nX-Empty:\r\nContent-Length: 10\r\n\r\n"
                                     "{\"a\":\"\xc3\xa4\"}");
}

TEST_F(CurlHttpClientTest, ABodyIsSentWithoutAskingFirst) {
    ASSERT_TRUE(send(post(QByteArray(3 * 1024 * 1024, 'x'))).reply);
    EXPECT_EQ(server.requests()[0].header("expect"), "");
    EXPECT_EQ(server.requests()[0].body.size(), 3U * 1024 * 1024);
}

TEST_F(CurlHttpClientTest, GivesStatusHeadersAndBody) {
    Reply scripted = Reply::of(203, "answer");
    scripted.headers["X-Odd-Case"] = "  Value ";
    server.answer(Question::models, scripted);
    const Result result = send(get());
    ASSERT_TRUE(result.reply) << result.text;
    EXPECT_EQ(result.reply->status, 203);
    EXPECT_TRUE(result.reply->isSuccess());
    EXPECT_EQ(result.reply->body, "answer");
    EXPECT_EQ(result.reply->headers["x-odd-case"], "Value");
}

TEST_F(CurlHttpClientTest, EveryStatusIsAReply) {
    for (const int status : {200, 204, 299, 300, 304, 400, 401, 404, 418, 429, 500, 503, 599}) {
        server.answer(Question::models, Reply::of(status, status == 204 || status == 304 ? "" : "why"));
        const Result result = send(get());
        ASSERT_TRUE(result.reply) << status << result.text;
        EXPECT_EQ(result.reply->status, status);
        EXPECT_EQ(result.reply->isSuccess(), status < 300);
    }
}

TEST_F(CurlHttpClientTest, FollowsNoRedirectSoThatTheKeyGoesNowhereElse) {
    ScriptedChatServer elsewhere;
    for (const int status : {301, 302, 303, 307, 308}) {
        Reply scripted = Reply::redirectTo(elsewhere.baseURL() + "/models");
        scripted.status = status;
        server.answer(Question::models, scripted);
        HttpRequest request = get();
        request.headers = {{"Authorization", "Bearer secret"}};
        const Result result = send(request);
        ASSERT_TRUE(result.reply) << result.text;
        EXPECT_EQ(result.reply->status, status);
    }
    EXPECT_TRUE(elsewhere.requests().empty());
}

TEST_F(CurlHttpClientTest, AReplyOverTheLimitIsAnError) {
    server.answer(Question::models, Reply::of(200, std::string(HttpClient::maximumReplyBytes, 'x')));
    EXPECT_TRUE(send(get()).reply);
    server.answer(Question::models, Reply::of(200, std::string(HttpClient::maximumReplyBytes + 1, 'x')));
    const Result result = send(get());
    EXPECT_EQ(result.error, Case::tooLarge);
    EXPECT_EQ(result.text, "The reply is larger than 4194304 bytes.");
}

TEST_F(CurlHttpClientTest, OfALongRefusalTheBeginningIsKept) {
    // The limit falls into the middle of a character.
    server.answer(Question::models, Reply::of(500, "x" + std::string(HttpClient::maximumRefusalBytes - 2, 'y') +
                                                       "\xe2\x82\xac and more"));
    const Result result = send(get());
    ASSERT_TRUE(result.reply) << result.text;
    EXPECT_EQ(result.reply->status, 500);
    EXPECT_EQ(result.reply->body.size(), static_cast<qsizetype>(HttpClient::maximumRefusalBytes) - 1);
}

TEST_F(CurlHttpClientTest, AnIgnoredBodyMayBeOfAnyLength) {
    server.answer(Question::models, Reply::of(200, std::string(HttpClient::maximumReplyBytes + 1, 'x')));
    HttpRequest request = get();
    request.replyBody = HttpRequest::ReplyBody::ignored;
    const Result result = send(request);
    ASSERT_TRUE(result.reply) << result.text;
    EXPECT_EQ(result.reply->status, 200);
    EXPECT_TRUE(result.reply->body.isEmpty());
}

TEST_F(CurlHttpClientTest, ALongHeadIsAnError) {
    Reply scripted = Reply::of(200);
    for (int i = 0; i < 6; ++i)
        scripted.headers["X-Long-" + std::to_string(i)] = std::string(90'000, 'x');
    server.answer(Question::models, scripted);
    EXPECT_TRUE(send(get()).error);
}

TEST_F(CurlHttpClientTest, ACutReplyIsAnError) {
    server.answer(Question::models, Reply::of(200, "a whole answer").cut(5));
    EXPECT_EQ(send(get()).error, Case::connectionLost);
    server.answer(Question::models, Reply::of(200, "a whole answer").cut(0));
    EXPECT_EQ(send(get()).error, Case::connectionLost);
}

TEST_F(CurlHttpClientTest, NothingIsSentTwice) {
    EXPECT_TRUE(send(post("one")).reply);
    EXPECT_TRUE(send(post("two")).reply);
    server.answerAll(Reply::of(200, "x").cut(0));
    EXPECT_TRUE(send(post("three")).error);
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(CurlHttpClientTest, RunsRequestsSideBySide) {
    server.hold();
    std::vector<QCoro::Task<HttpReply>> tasks;
    for (int i = 0; i < 4; ++i)
        tasks.push_back(client->send(post(QByteArray::number(i))));
    ASSERT_TRUE(server.waitForRequests(4));
    server.release();
    for (auto& task : tasks)
        EXPECT_TRUE(finish(std::move(task)).reply);
}

TEST_F(CurlHttpClientTest, ARequestThatIsNeverAnsweredTimesOut) {
    server.hold();
    HttpRequest request = get();
    request.timeout = 0.05;
    const Result result = send(request);
    EXPECT_EQ(result.error, Case::timedOut);
    EXPECT_THAT(result.text, ::testing::HasSubstr(" timed out after "));
    server.release();
    EXPECT_TRUE(send(get()).reply) << "the client goes on";
}

TEST_F(CurlHttpClientTest, ARequestIsCancelledFromAnyThread) {
    server.hold();
    std::stop_source stop;
    HttpRequest request = get();
    request.stop = stop.get_token();
    auto task = client->send(request);
    auto other = client->send(get());
    ASSERT_TRUE(server.waitForRequests(2));
    std::thread([&] { stop.request_stop(); }).join();
    const Result result = finish(std::move(task));
    EXPECT_EQ(result.error, Case::cancelled);
    EXPECT_EQ(result.text, "The request was cancelled.");
    server.release();
    EXPECT_TRUE(finish(std::move(other)).reply) << "the others go on";
}

TEST_F(CurlHttpClientTest, ARequestMayBeCancelledBeforeItBegins) {
    std::stop_source stop;
    stop.request_stop();
    HttpRequest request = get();
    request.stop = stop.get_token();
    EXPECT_EQ(send(request).error, Case::cancelled);
}

TEST_F(CurlHttpClientTest, AStopAfterTheReplyChangesNothing) {
    std::stop_source stop;
    HttpRequest request = get();
    request.stop = stop.get_token();
    EXPECT_TRUE(send(request).reply);
    stop.request_stop();
    EXPECT_TRUE(send(get()).reply);
}

TEST_F(CurlHttpClientTest, ItsEndCancelsWhatIsStillOut) {
    server.hold();
    const auto result = std::make_shared<Result>();
    const auto keeping = keep(client->send(get()), result, nullptr);
    ASSERT_TRUE(server.waitForRequests(1));
    client.reset();
    EXPECT_EQ(result->error, Case::cancelled);
}

TEST_F(CurlHttpClientTest, AServerThatIsNotThereIsAnError) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), length), 0); // nobody listens on it
    ASSERT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), 0);
    HttpRequest request;
    request.url = QUrl(QStringLiteral("http://127.0.0.1:%1/v1/models").arg(ntohs(address.sin_port)));
    const Result result = send(request);
    ::close(socket);
    EXPECT_EQ(result.error, Case::connectionFailed);
    EXPECT_THAT(result.text, ::testing::StartsWith("Failed to connect to 127.0.0.1 port "));
}

TEST_F(CurlHttpClientTest, ACertificateThatNobodySignedIsRefusedBeforeTheKeyIsSent) {
    VarnelSpeech::Testing::TestTlsServer tls;
    HttpRequest request;
    request.url = QUrl(QString::fromStdString(tls.url()));
    request.headers = {{"Authorization", "Bearer secret"}};
    const Result result = send(request);
    EXPECT_EQ(result.error, Case::securityFailed) << result.text;
    EXPECT_EQ(tls.requestCount(), 0);
}

TEST_F(CurlHttpClientTest, OnlyTheWebIsSpoken) {
    for (const char* url : {"ftp://127.0.0.1/models", "file://localhost/etc/passwd", "gopher://127.0.0.1/"}) {
        HttpRequest request;
        request.url = QUrl(QLatin1String(url));
        EXPECT_EQ(send(request).error, Case::invalidRequest) << url;
    }
}

TEST_F(CurlHttpClientTest, AHeaderCannotBreakOutOfItsLine) {
    for (const char* key : {"Bearer secret\r\nX-Other: 1", "Bearer secret\n", "Bearer secret\r"}) {
        HttpRequest request = get();
        request.headers = {{"Authorization", key}};
        const Result result = send(request);
        EXPECT_EQ(result.error, Case::invalidRequest);
        EXPECT_EQ(result.text, "The value of the header 'Authorization' is not one line.");
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(CurlHttpClientTest, WhatIsMeantForThisMachineGoesThroughNoProxy) {
    VarnelSpeech::Testing::EnvironmentScope environment;
    environment.set("http_proxy", "http://127.0.0.1:1");
    EXPECT_TRUE(send(get()).reply);
    HttpRequest elsewhere;
    elsewhere.url = QUrl(QStringLiteral("http://models.invalid/v1/models"));
    const Result result = send(elsewhere);
    EXPECT_EQ(result.error, Case::connectionFailed);
    EXPECT_THAT(result.text, ::testing::HasSubstr("127.0.0.1 port 1 "));
}

} // namespace
} // namespace Varnel
