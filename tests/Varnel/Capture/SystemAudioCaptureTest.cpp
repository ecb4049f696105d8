#include "Varnel/Capture/SystemAudioCapture.h"

#include "support/FakeLoopbackAudio.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace Varnel {

using Testing::FakeLoopbackAudio;

class SystemAudioCaptureTest : public ::testing::Test {
protected:
    // Starts, and says how that ended: "started", the error's text, or "" while it waits.
    QCoro::Task<> start(std::string& outcome) {
        try {
            co_await capture->start();
            outcome = "started";
        } catch (const AudioStreamError& error) {
            outcome = error.what();
        }
    }

    std::string start() {
        std::string outcome;
        start(outcome);
        return outcome;
    }

    const std::vector<float> twoFrames{0.25F, -0.25F, 0.5F, -0.5F};
    FakeLoopbackAudio loopback;
    std::vector<std::vector<float>> received;
    std::vector<AudioBlock> blocks; // their samples are gone
    std::optional<SystemAudioCapture> capture =
        std::optional<SystemAudioCapture>(std::in_place, loopback, [this](const AudioBlock& block) {
            received.emplace_back(block.samples.begin(), block.samples.end());
            blocks.push_back(block);
        });
};

TEST_F(SystemAudioCaptureTest, PassesOnEveryBlockInOrder) {
    EXPECT_EQ(start(), "started");
    EXPECT_TRUE(capture->isCapturing());
    loopback.opened.at(0)->deliver({{48000, 2}, twoFrames, 0});
    const std::vector<float> next{1, -1};
    loopback.opened.at(0)->deliver({{48000, 2}, next, 960});
    EXPECT_EQ(received, (std::vector<std::vector<float>>{twoFrames, next}));
    EXPECT_EQ(blocks.at(0).format, (AudioStreamFormat{48000, 2}));
    EXPECT_EQ(blocks.at(0).lostFrames, 0U);
    EXPECT_EQ(blocks.at(1).lostFrames, 960U);
}

TEST_F(SystemAudioCaptureTest, DropsABlockThatIsNotValidAndGoesOn) {
    start();
    loopback.opened.at(0)->deliver({{48000, 3}, twoFrames, 0});
    loopback.opened.at(0)->deliver({{48000, 0}, twoFrames, 0});
    loopback.opened.at(0)->deliver({{0, 2}, twoFrames, 0});
    loopback.opened.at(0)->deliver({{std::numeric_limits<double>::quiet_NaN(), 2}, twoFrames, 0});
    EXPECT_TRUE(received.empty());
    loopback.opened.at(0)->deliver({{48000, 2}, twoFrames, 0});
    EXPECT_EQ(received, std::vector<std::vector<float>>{twoFrames});
}

TEST_F(SystemAudioCaptureTest, StartWhileCapturingDoesNothing) {
    start();
    EXPECT_EQ(start(), "started");
    EXPECT_EQ(loopback.opened.size(), 1U);
    EXPECT_FALSE(loopback.opened.at(0)->isStopped);
}

TEST_F(SystemAudioCaptureTest, StopWithoutAStartDoesNothing) {
    capture->stop();
    EXPECT_FALSE(capture->isCapturing());
    EXPECT_TRUE(loopback.opened.empty());
}

TEST_F(SystemAudioCaptureTest, StopEndsTheCapture) {
    start();
    capture->stop();
    EXPECT_FALSE(capture->isCapturing());
    EXPECT_TRUE(loopback.opened.at(0)->isStopped);
    capture->stop();
}

TEST_F(SystemAudioCaptureTest, StartsAgainAfterAStop) {
    start();
    capture->stop();
    EXPECT_EQ(start(), "started");
    loopback.opened.at(1)->deliver({{48000, 2}, twoFrames, 0});
    EXPECT_EQ(received.size(), 1U);
}

TEST_F(SystemAudioCaptureTest, TheCausesTextReachesTheCaller) {
    loopback.failure = "no sound output: Connection refused";
    EXPECT_EQ(start(), "no sound output: Connection refused");
    EXPECT_FALSE(capture->isCapturing());
    loopback.failure.clear();
    EXPECT_EQ(start(), "started");
}

TEST_F(SystemAudioCaptureTest, AStopWhileItStartsKeepsItFromCapturing) {
    loopback.gate.close();
    std::string outcome;
    start(outcome);
    EXPECT_EQ(outcome, "");
    capture->stop();
    loopback.opened.at(0)->deliver({{48000, 2}, twoFrames, 0}); // the server was quicker than the opening
    EXPECT_TRUE(received.empty());
    loopback.gate.open();
    EXPECT_EQ(outcome, "started");
    EXPECT_FALSE(capture->isCapturing());
    EXPECT_TRUE(loopback.opened.at(0)->isStopped);
}

TEST_F(SystemAudioCaptureTest, OfTwoStartsAtOnceOneCaptureStays) {
    loopback.gate.close();
    std::string first;
    std::string second;
    start(first);
    start(second);
    loopback.opened.at(0)->deliver({{48000, 2}, twoFrames, 0});
    loopback.opened.at(1)->deliver({{48000, 2}, twoFrames, 0});
    EXPECT_EQ(received.size(), 1U);
    loopback.gate.open();
    EXPECT_TRUE(capture->isCapturing());
    EXPECT_TRUE(loopback.opened.at(0)->isStopped);
    EXPECT_FALSE(loopback.opened.at(1)->isStopped);
}

TEST_F(SystemAudioCaptureTest, EndsTheCaptureWithItsLife) {
    start();
    capture.reset();
    EXPECT_TRUE(loopback.opened.at(0)->isStopped);
}

TEST_F(SystemAudioCaptureTest, MayBeDestroyedWhileItStarts) {
    loopback.gate.close();
    std::string outcome;
    start(outcome);
    capture.reset();
    loopback.opened.at(0)->deliver({{48000, 2}, twoFrames, 0});
    EXPECT_TRUE(received.empty());
    loopback.gate.open();
    EXPECT_EQ(outcome, "started");
    EXPECT_TRUE(loopback.opened.at(0)->isStopped);
}

} // namespace Varnel
