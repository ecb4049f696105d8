#include "VarnelSpeech/Shared/HttpSession.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "support/TestHub.h"
#include "support/TestTlsServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace VarnelSpeech {
namespace {

using Case = HttpTransportError::Case;
using testing::HasSubstr;
using Testing::HubFault;
using testing::Not;
using Testing::TestHub;

class HttpSessionTest : public testing::Test {
protected:
    HttpRequest request(const std::string& path) const {
        HttpRequest request;
        request.url = hub.url() + path;
        return request;
    }

    // The body as text.
    std::string get(const HttpRequest& request, std::size_t limit = 1 << 20) {
        std::vector<std::byte> body;
        response = session.get(request, body, limit);
        return {reinterpret_cast<const char*>(body.data()), body.size()};
    }

    // The error that the request ends with.
    std::pair<Case, std::string> failure(const HttpRequest& request, std::size_t limit = 1 << 20) {
        try {
            get(request, limit);
        } catch (const HttpTransportError& error) {
            return {error.error(), error.what()};
        }
        return {Case::other, "(no error)"};
    }

    TestHub hub;
    HttpSession session;
    HttpResponse response;
};

TEST_F(HttpSessionTest, GetsABodyWithItsStatusAndHeaders) {
    hub.setAnswer("/a", "hello");
    EXPECT_EQ(get(request("/a")), "hello");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.contentLength(), 5U);
    EXPECT_TRUE(response.header("etag").has_value());
    EXPECT_FALSE(response.header("nothing").has_value());
}

TEST_F(HttpSessionTest, SaysWhoItIs) {
    hub.setAnswer("/a", "");
    get(request("/a"));
    EXPECT_THAT(hub.requests().at(0).header("user-agent"), testing::MatchesRegex("Varnel/[0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST_F(HttpSessionTest, UsesAConnectionAgain) {
    hub.setAnswer("/a", "1");
    for (int round = 0; round < 3; ++round)
        get(request("/a"));
    for (const auto& seen : hub.requests())
        EXPECT_EQ(seen.connection, 0U);
}

TEST_F(HttpSessionTest, ReturnsAStatusThatIsNoSuccessWithoutItsBody) {
    hub.setFault("/a", HubFault::withStatus(404));
    EXPECT_EQ(get(request("/a")), "");
    EXPECT_EQ(response.status, 404);
    EXPECT_FALSE(response.isSuccess());
}

TEST_F(HttpSessionTest, TakesABodyInChunks) {
    const std::string text(100'000, 'x');
    hub.setAnswer("/a", text);
    hub.setFault("/a", HubFault::of(HubFault::Kind::chunked));
    EXPECT_EQ(get(request("/a")), text);
    EXPECT_FALSE(response.contentLength().has_value());
}

TEST_F(HttpSessionTest, RefusesABodyOverItsLimit) {
    hub.setAnswer("/a", std::string(1001, 'x'));
    EXPECT_EQ(failure(request("/a"), 1000).first, Case::tooLarge);
    hub.setFault("/a", HubFault::of(HubFault::Kind::chunked)); // not known beforehand
    EXPECT_EQ(failure(request("/a"), 1000).first, Case::tooLarge);
    EXPECT_EQ(get(request("/a"), 1001).size(), 1001U);
}

TEST_F(HttpSessionTest, FollowsARedirectToAnotherHostWithoutTheToken) {
    hub.setAnswer("/there", "arrived");
    hub.setFault("/here", HubFault::redirectTo(hub.urlOfOtherHost() + "/there"));
    HttpRequest secret = request("/here");
    secret.bearerToken = "hf_secret";
    EXPECT_EQ(get(secret), "arrived");
    EXPECT_EQ(hub.requestsFor("/here").at(0).header("authorization"), "Bearer hf_secret");
    EXPECT_EQ(hub.requestsFor("/there").at(0).header("authorization"), "");
}

TEST_F(HttpSessionTest, KeepsTheTokenOnARedirectWithinTheHost) {
    hub.setAnswer("/there", "arrived");
    hub.setFault("/here", HubFault::redirectTo("/there"));
    HttpRequest secret = request("/here");
    secret.bearerToken = "hf_secret";
    get(secret);
    EXPECT_EQ(hub.requestsFor("/there").at(0).header("authorization"), "Bearer hf_secret");
}

TEST_F(HttpSessionTest, SendsNoAuthorizationWithoutAToken) {
    hub.setAnswer("/a", "");
    get(request("/a"));
    EXPECT_FALSE(hub.requests().at(0).headers.contains("authorization"));
}

TEST_F(HttpSessionTest, EndsARedirectLoop) {
    hub.setFault("/a", HubFault::redirectTo("/b"));
    hub.setFault("/b", HubFault::redirectTo("/a"));
    const auto [error, text] = failure(request("/a"));
    EXPECT_EQ(error, Case::redirectLoop);
    EXPECT_EQ(text, "Maximum (10) redirects followed (" + hub.url() + "/a)");
    EXPECT_EQ(hub.requests().size(), 11U);
}

TEST_F(HttpSessionTest, FollowsNoRedirectOutOfTheWeb) {
    for (const char* location : {"file:///etc/passwd", "ftp://127.0.0.1/x", "gopher://127.0.0.1/x"}) {
        hub.setFault("/a", HubFault::redirectTo(location));
        EXPECT_EQ(failure(request("/a")).first, Case::invalidURL) << location;
    }
}

TEST_F(HttpSessionTest, RefusesAnAddressThatIsNotOfTheWeb) {
    for (const char* url : {"", "file:///etc/passwd", "ftp://127.0.0.1/", "nonsense", "http://"}) {
        HttpRequest bad;
        bad.url = url;
        EXPECT_EQ(failure(bad).first, Case::invalidURL) << url;
    }
}

TEST_F(HttpSessionTest, NoticesABodyThatBreaksOff) {
    hub.setAnswer("/a", std::string(1000, 'x'));
    hub.setFault("/a", HubFault::cutAt(400));
    const auto [error, text] = failure(request("/a"));
    EXPECT_EQ(error, Case::connectionLost);
    EXPECT_THAT(text, HasSubstr("600 bytes remaining"));
}

TEST_F(HttpSessionTest, NoticesALengthThatIsTooLarge) {
    hub.setAnswer("/a", "hello");
    hub.setFault("/a", HubFault::lyingAboutLength(3));
    EXPECT_EQ(failure(request("/a")).first, Case::connectionLost);
}

TEST_F(HttpSessionTest, NoticesAnAnswerThatNeverComes) {
    hub.setAnswer("/a", "hello");
    hub.setFault("/a", HubFault::of(HubFault::Kind::silence));
    HttpRequest brief = request("/a");
    brief.timeout = 0.2;
    const auto [error, text] = failure(brief);
    EXPECT_EQ(error, Case::timedOut);
    EXPECT_THAT(text, HasSubstr("timed out"));
    EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST_F(HttpSessionTest, GivesUpAStalledAnswerBeforeTheTimeForTheRequest) {
    hub.setAnswer("/a", "hello");
    hub.setFault("/a", HubFault::stallAt(2));
    HttpRequest patient = request("/a");
    patient.stallLimit = 1.0;
    const auto [error, text] = failure(patient);
    EXPECT_EQ(error, Case::timedOut);
    EXPECT_THAT(text, HasSubstr("too slow"));
}

TEST_F(HttpSessionTest, SaysThatNobodyListens) {
    std::uint16_t port = 0;
    {
        const TestHub gone;
        port = gone.port();
    }
    HttpRequest lost;
    lost.url = "http://127.0.0.1:" + std::to_string(port) + "/a";
    const auto [error, text] = failure(lost);
    EXPECT_EQ(error, Case::connectionFailed);
    EXPECT_THAT(text, HasSubstr("127.0.0.1"));
}

TEST_F(HttpSessionTest, TrustsNoCertificateThatNobodyHasSigned) {
    const Testing::TestTlsServer server;
    HttpRequest secure;
    secure.url = server.url() + "/a";
    secure.bearerToken = "hf_secret";
    EXPECT_EQ(failure(secure).first, Case::securityFailed);
    EXPECT_GT(server.connectionCount(), 0);
    EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(HttpSessionTest, WantsACertificateForHttps) {
    hub.setAnswer("/a", "hello");
    HttpRequest secure;
    secure.url = "https://127.0.0.1:" + std::to_string(hub.port()) + "/a"; // a server that does not speak TLS
    EXPECT_EQ(failure(secure).first, Case::securityFailed);
}

TEST_F(HttpSessionTest, EndsAtOnceWhenStopped) {
    hub.setAnswer("/a", "hello");
    hub.setFault("/a", HubFault::stallAt(2));
    std::stop_source stop;
    HttpRequest stoppable = request("/a");
    stoppable.stop = stop.get_token();
    std::jthread stopper([&] {
        hub.waitForStalls(1);
        stop.request_stop();
    });
    EXPECT_EQ(failure(stoppable).first, Case::cancelled); // or it would hang, as no limit is near
    EXPECT_EQ(failure(stoppable).first, Case::cancelled);
    EXPECT_EQ(hub.requestsFor("/a").size(), 1U); // the second never went out
}

TEST_F(HttpSessionTest, PassesOnWhatTheReceiverThrows) {
    struct Refusing final : HttpBodyReceiver {
        void begin(const HttpResponse&) override {}

        void receive(std::span<const std::byte>) override { throw std::length_error("no more"); }
    } refusing;

    hub.setAnswer("/a", "hello");
    EXPECT_THROW(session.get(request("/a"), refusing), std::length_error);
    EXPECT_EQ(get(request("/a")), "hello");
}

TEST_F(HttpSessionTest, RunsRequestsSideBySide) {
    hub.setAnswer("/slow", "slow");
    hub.setAnswer("/fast", "fast");
    hub.setFault("/slow", HubFault::stallAt(0));
    std::string slow;
    std::jthread waiting([&] {
        std::vector<std::byte> body;
        session.get(request("/slow"), body, 100);
        slow.assign(reinterpret_cast<const char*>(body.data()), body.size());
    });
    ASSERT_TRUE(hub.waitForStalls(1));
    EXPECT_EQ(get(request("/fast")), "fast");
    hub.releaseStalls();
    waiting.join();
    EXPECT_EQ(slow, "slow");
}

TEST_F(HttpSessionTest, GoesThroughTheHttpProxy) {
    hub.setAnswer("/a", "by proxy");
    HttpSession proxied({.https = "", .http = hub.url()});
    HttpRequest outside;
    outside.url = "http://models.example/a";
    std::vector<std::byte> body;
    EXPECT_EQ(proxied.get(outside, body, 100).status, 200);
    EXPECT_EQ(body.size(), 8U);
    EXPECT_EQ(hub.requests().at(0).target, "http://models.example/a");
    EXPECT_EQ(hub.requests().at(0).header("host"), "models.example");
}

TEST_F(HttpSessionTest, GoesThroughTheHttpsProxyForHttpsAlone) {
    HttpSession proxied({.https = hub.url(), .http = ""});
    HttpRequest outside;
    outside.url = "https://models.example/a";
    std::vector<std::byte> body;
    EXPECT_THROW(proxied.get(outside, body, 100), HttpTransportError); // this proxy opens no tunnels
    ASSERT_EQ(hub.requests().size(), 1U);
    EXPECT_EQ(hub.requests().at(0).method, "CONNECT");
    EXPECT_EQ(hub.requests().at(0).target, "models.example:443");
    hub.setAnswer("/a", "direct");
    EXPECT_EQ(proxied.get(request("/a"), body, 100).status, 200);
    EXPECT_EQ(hub.requests().at(1).target, "/a");
}

TEST_F(HttpSessionTest, NeverSendsTheTokenToTheProxyOfATunnel) {
    HttpSession proxied({.https = hub.url(), .http = ""});
    HttpRequest outside;
    outside.url = "https://models.example/a";
    outside.bearerToken = "hf_secret";
    std::vector<std::byte> body;
    EXPECT_THROW(proxied.get(outside, body, 100), HttpTransportError);
    const TestHub::Request seen = hub.requests().at(0);
    for (const auto& [name, value] : seen.headers)
        EXPECT_THAT(value, Not(HasSubstr("hf_secret"))) << name;
}

} // namespace
} // namespace VarnelSpeech
