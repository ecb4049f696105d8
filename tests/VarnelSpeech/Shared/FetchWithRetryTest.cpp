#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpError.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "support/EnvironmentScope.h"
#include "support/LogRecorder.h"
#include "support/TestHub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace VarnelSpeech {
namespace {

using Level = AppLogger::Level;
using testing::ElementsAre;
using Testing::HubEnvironment;
using Testing::HubFault;
using testing::IsEmpty;
using Testing::LogRecorder;
using testing::SizeIs;
using Testing::TestHub;

class FetchWithRetryTest : public testing::Test {
protected:
    std::string fetch(int maxAttempts, double baseDelay) {
        const auto bytes = DownloadUtils::fetchWithRetry(hub.url() + "/a", "the lexicon", maxAttempts, baseDelay,
                                                         [this](double seconds) { delays.push_back(seconds); });
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    TestHub hub;
    HubEnvironment environment{hub.url()};
    LogRecorder log;
    std::vector<double> delays;
};

TEST_F(FetchWithRetryTest, ReturnsTheFirstSuccess) {
    hub.setAnswer("/a", "words");
    EXPECT_EQ(fetch(3, 1.0), "words");
    EXPECT_THAT(delays, IsEmpty());
    EXPECT_THAT(log.messages(Level::warning), IsEmpty());
}

TEST_F(FetchWithRetryTest, WaitsOneSecondAndThenTwo) {
    hub.setFault("/a", HubFault::withStatus(500));
    try {
        fetch(3, 1.0);
        FAIL();
    } catch (const HttpError& error) {
        EXPECT_STREQ(error.what(), "HTTP 500");
        EXPECT_EQ(error.statusCode(), 500);
    }
    EXPECT_THAT(delays, ElementsAre(1.0, 2.0));
    EXPECT_THAT(hub.requests(), SizeIs(3));
    EXPECT_THAT(log.messages(Level::warning),
                ElementsAre("Download attempt 1 for the lexicon failed: HTTP 500. Retrying in 1.0s.",
                            "Download attempt 2 for the lexicon failed: HTTP 500. Retrying in 2.0s."));
}

TEST_F(FetchWithRetryTest, GoesOnAfterARateLimit) {
    hub.setAnswer("/a", "words");
    hub.setFault("/a", HubFault::withStatus(429).forTimes(1));
    EXPECT_EQ(fetch(2, 0.25), "words");
    EXPECT_THAT(delays, ElementsAre(0.25));
    EXPECT_THAT(log.messages(Level::warning),
                ElementsAre("Download attempt 1 for the lexicon failed: HTTP 429. Retrying in 0.2s."));
}

TEST_F(FetchWithRetryTest, GoesOnAfterATransportError) {
    hub.setAnswer("/a", "words");
    hub.setFault("/a", HubFault::cutAt(2).forTimes(1));
    EXPECT_EQ(fetch(2, 1.0), "words");
    EXPECT_THAT(delays, ElementsAre(1.0));
}

TEST_F(FetchWithRetryTest, PassesTheLastErrorOn) {
    hub.setAnswer("/a", "words");
    hub.setFault("/a", HubFault::cutAt(2));
    EXPECT_THROW(fetch(1, 1.0), HttpTransportError);
    EXPECT_THAT(delays, IsEmpty());
    EXPECT_THAT(hub.requests(), SizeIs(1));
}

TEST_F(FetchWithRetryTest, WantsAtLeastOneAttempt) {
    EXPECT_THROW(fetch(0, 1.0), std::invalid_argument);
    EXPECT_THROW(fetch(-1, 1.0), std::invalid_argument);
    EXPECT_THAT(hub.requests(), IsEmpty());
}

TEST_F(FetchWithRetryTest, SendsTheToken) {
    environment.set("HF_TOKEN", "key");
    hub.setAnswer("/a", "words");
    fetch(1, 1.0);
    EXPECT_EQ(hub.requests().at(0).header("authorization"), "Bearer key");
}

TEST_F(FetchWithRetryTest, EndsItsWaitWhenStopped) {
    hub.setFault("/a", HubFault::withStatus(500));
    std::stop_source stop;
    hub.onRequest([&](const TestHub::Request&) { stop.request_stop(); });
    DownloadUtils::DownloadConfig download;
    download.stop = stop.get_token();
    try {
        DownloadUtils::fetchWithRetry(hub.url() + "/a", "x", 3, 1e9, {}, download); // the wait would outlive the test
        FAIL();
    } catch (const HttpTransportError& error) {
        EXPECT_EQ(error.error(), HttpTransportError::Case::cancelled);
    }
    EXPECT_THAT(hub.requests(), SizeIs(1));
}

} // namespace
} // namespace VarnelSpeech
