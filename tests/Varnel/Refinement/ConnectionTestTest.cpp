#include "Varnel/Refinement/ConnectionTest.h"

#include "Varnel/Platform/Linux/CurlHttpClient.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "support/EventLoop.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedChatServer.h"

#include <gmock/gmock.h>

namespace Varnel {
namespace {

using Testing::ScriptedChatServer;
using Reply = ScriptedChatServer::Reply;
using Question = ScriptedChatServer::Question;

class ConnectionTestTest : public ::testing::Test {
protected:
    ConnectionTestTest() {
        settings_.set(SettingKeys::aiBaseURL, QString::fromStdString(server_.baseURL()));
        QObject::connect(test_.get(), &ConnectionTest::resultChanged, [this] { shown_ += *test_->result(); });
    }

    QString result() {
        runToEnd(test_->run());
        return *test_->result();
    }

    static QStringList list(std::initializer_list<const char*> texts) {
        QStringList result;
        for (const char* text : texts)
            result += QString::fromUtf8(text);
        return result;
    }

    Testing::MemorySettingsStore store_;
    Settings settings_{store_};
    ScriptedChatServer server_;
    CurlHttpClient http_;
    std::unique_ptr<ConnectionTest> test_ = std::make_unique<ConnectionTest>(settings_, http_);
    QStringList shown_;
};

TEST_F(ConnectionTestTest, AServerThatAnswersIsConnected) {
    EXPECT_EQ(test_->result(), std::nullopt);
    EXPECT_EQ(result(), QStringLiteral("Connected"));
    EXPECT_EQ(test_->colour(), ConnectionTest::Colour::success);
    EXPECT_EQ(shown_, list({"Testing...", "Connected"}));
}

TEST_F(ConnectionTestTest, AnyOtherStatusIsNoResponse) {
    for (const int status : {301, 401, 404, 500}) {
        server_.answer(Question::models, Reply::of(status));
        EXPECT_EQ(result(), QStringLiteral("No response"));
        EXPECT_EQ(test_->colour(), ConnectionTest::Colour::failure);
    }
}

TEST_F(ConnectionTestTest, ABaseURLThatIsNoneIsTold) {
    settings_.set(SettingKeys::aiBaseURL, QStringLiteral("localhost"));
    EXPECT_EQ(result(), QStringLiteral("Invalid base URL"));
    EXPECT_EQ(test_->colour(), ConnectionTest::Colour::failure);
    EXPECT_EQ(shown_, list({"Testing...", "Invalid base URL"}));
    EXPECT_TRUE(server_.requests().empty());
}

TEST_F(ConnectionTestTest, AFailureIsToldWithItsReason) {
    server_.answer(Question::models, Reply::of(200, "cut").cut(0));
    EXPECT_THAT(result().toStdString(), ::testing::StartsWith("Failed: "));
    EXPECT_EQ(test_->colour(), ConnectionTest::Colour::failure);
}

TEST_F(ConnectionTestTest, TestsWhatIsStoredNow) {
    settings_.set(SettingKeys::aiAPIKey, QStringLiteral("secret"));
    result();
    EXPECT_EQ(server_.requests()[0].header("authorization"), "Bearer secret");
    settings_.set(SettingKeys::aiBaseURL, QString::fromStdString(server_.baseURL()) + QStringLiteral("/deep"));
    result();
    EXPECT_EQ(server_.requests()[1].target, "/v1/deep/models");
}

TEST_F(ConnectionTestTest, IsCancelled) {
    server_.hold();
    auto running = test_->run();
    ASSERT_TRUE(server_.waitForRequests(1));
    test_->cancel();
    runToEnd(std::move(running));
    EXPECT_EQ(shown_, list({"Testing...", "Failed: The request was cancelled."}));
    server_.release();
    EXPECT_EQ(result(), QStringLiteral("Connected")) << "and the next one runs";
}

TEST_F(ConnectionTestTest, ANewTestTakesThePlaceOfOneThatStillRuns) {
    server_.hold();
    auto first = test_->run();
    ASSERT_TRUE(server_.waitForRequests(1));
    auto second = test_->run();
    runToEnd(std::move(first));
    EXPECT_EQ(*test_->result(), QStringLiteral("Testing...")) << "the first one's end is not shown";
    server_.release();
    runToEnd(std::move(second));
    EXPECT_EQ(shown_, list({"Testing...", "Testing...", "Connected"}));
}

TEST_F(ConnectionTestTest, AnInvalidURLTakesThePlaceOfATestThatStillRuns) {
    server_.hold();
    auto first = test_->run();
    ASSERT_TRUE(server_.waitForRequests(1));
    settings_.set(SettingKeys::aiBaseURL, QStringLiteral("nonsense"));
    EXPECT_EQ(result(), QStringLiteral("Invalid base URL"));
    runToEnd(std::move(first));
    EXPECT_EQ(*test_->result(), QStringLiteral("Invalid base URL"));
}

TEST_F(ConnectionTestTest, MayEndWhileATestRuns) {
    server_.hold();
    auto running = test_->run();
    ASSERT_TRUE(server_.waitForRequests(1));
    test_.reset();
    runToEnd(std::move(running));
    EXPECT_EQ(shown_, list({"Testing..."}));
}

} // namespace
} // namespace Varnel
