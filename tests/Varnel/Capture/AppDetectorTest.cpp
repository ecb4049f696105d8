#include "Varnel/Capture/AppDetector.h"

#include "support/FakeBrowserAddress.h"
#include "support/FakeFrontmostApp.h"
#include "support/ManualClock.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace Varnel {

using namespace std::chrono_literals;
using Testing::FakeBrowserAddress;
using Testing::FakeFrontmostApp;
using Testing::ManualClock;

namespace {

using Name = std::optional<QString>;
using Names = std::vector<Name>;

} // namespace

class AppDetectorTest : public ::testing::Test {
protected:
    FakeFrontmostApp front;
    FakeBrowserAddress browser;
    ManualClock clock;
    Names reports;
    std::optional<AppDetector> detector = std::optional<AppDetector>(
        std::in_place, front, browser, clock, [this](const Name& name) { reports.push_back(name); });
};

TEST_F(AppDetectorTest, ReportsAMeetingApplicationThatIsInFrontAtStart) {
    front.setCurrent("zoom");
    detector->start();
    EXPECT_EQ(reports, Names{"Zoom"});
}

TEST_F(AppDetectorTest, ReportsNothingWhenNoneIsInFrontAtStart) {
    front.setCurrent("org.gnome.nautilus");
    detector->start();
    front.switchTo(std::nullopt);
    clock.advance(10s);
    EXPECT_TRUE(reports.empty());
}

TEST_F(AppDetectorTest, ReportsTheNameAndThenNoneWhenAnotherApplicationComesToTheFront) {
    detector->start();
    front.switchTo("zoom");
    front.switchTo("org.gnome.nautilus");
    EXPECT_EQ(reports, (Names{"Zoom", std::nullopt}));
}

TEST_F(AppDetectorTest, ReportsChangesOnly) {
    detector->start();
    front.switchTo("webex");
    front.switchTo("ciscocollabhost");
    clock.advance(30s);
    front.switchTo("zoom");
    EXPECT_EQ(reports, (Names{"Webex", "Zoom"}));
}

TEST_F(AppDetectorTest, SeesATabMoveToAMeetingWithinThreeSeconds) {
    front.setCurrent("google-chrome");
    browser.address = "https://mail.google.com/mail/u/0/";
    detector->start();
    EXPECT_TRUE(reports.empty());
    browser.address = "https://meet.google.com/abc-defg-hij";
    clock.advance(2999ms);
    EXPECT_TRUE(reports.empty());
    clock.advance(1ms);
    EXPECT_EQ(reports, Names{"Google Meet"});
    browser.address = "https://example.org/";
    clock.advance(3s);
    EXPECT_EQ(reports, (Names{"Google Meet", std::nullopt}));
}

TEST_F(AppDetectorTest, SeesASwitchThatNobodyTold) {
    detector->start();
    front.setCurrent("discord");
    clock.advance(3s);
    EXPECT_EQ(reports, Names{"Discord"});
}

TEST_F(AppDetectorTest, ANativeApplicationAndATabOfOneServiceAreTheSame) {
    detector->start();
    front.switchTo("slack");
    browser.address = "https://acme.slack.com/huddle";
    front.switchTo("firefox");
    EXPECT_EQ(detector->displayName("slack"), "Slack");
    EXPECT_EQ(detector->displayName("firefox"), "Slack");
    EXPECT_EQ(reports, Names{"Slack"});
}

TEST_F(AppDetectorTest, ABrowserThatDoesNotTellItsAddressIsNone) {
    front.setCurrent("chromium");
    detector->start();
    clock.advance(9s);
    EXPECT_TRUE(reports.empty());
    browser.address = "no address at all";
    clock.advance(3s);
    EXPECT_TRUE(reports.empty());
}

TEST_F(AppDetectorTest, AsksOnlyKnownBrowsersForTheirAddress) {
    browser.address = "https://zoom.us/";
    EXPECT_EQ(detector->displayName(std::nullopt), std::nullopt);
    EXPECT_EQ(detector->displayName("zoom"), "Zoom");
    EXPECT_EQ(detector->displayName("org.gnome.nautilus"), std::nullopt);
    EXPECT_TRUE(browser.asked.isEmpty());
    EXPECT_EQ(detector->displayName("vivaldi-stable"), "Zoom");
    EXPECT_EQ(browser.asked, QStringList{"vivaldi-stable"});
}

TEST_F(AppDetectorTest, LooksOnceEveryThreeSeconds) {
    detector->start();
    EXPECT_EQ(front.lookups, 1);
    clock.advance(30s);
    EXPECT_EQ(front.lookups, 11);
}

TEST_F(AppDetectorTest, StartingAgainKeepsOnePoll) {
    detector->start();
    clock.advance(1s);
    detector->start();
    front.lookups = 0;
    clock.advance(3s);
    EXPECT_EQ(front.lookups, 1);
}

TEST_F(AppDetectorTest, StopEndsThePollAndTheWatch) {
    detector->start();
    detector->stop();
    EXPECT_FALSE(front.isWatched());
    front.lookups = 0;
    front.switchTo("zoom");
    clock.advance(30s);
    EXPECT_EQ(front.lookups, 0);
    EXPECT_TRUE(reports.empty());
    detector->stop();
}

TEST_F(AppDetectorTest, ALaterStartDoesNotRepeatWhatWasReported) {
    front.setCurrent("zoom");
    detector->start();
    detector->stop();
    detector->start();
    EXPECT_EQ(reports, Names{"Zoom"});
    front.switchTo(std::nullopt);
    EXPECT_EQ(reports, (Names{"Zoom", std::nullopt}));
}

TEST_F(AppDetectorTest, EndsThePollAndTheWatchWithItsLife) {
    detector->start();
    detector.reset();
    EXPECT_FALSE(front.isWatched());
    front.lookups = 0;
    clock.advance(30s);
    EXPECT_EQ(front.lookups, 0);
}

TEST_F(AppDetectorTest, TheHandlerMayStopTheDetector) {
    detector.emplace(front, browser, clock, [this](const Name& name) {
        reports.push_back(name);
        detector->stop();
    });
    front.setCurrent("zoom");
    detector->start(); // the report comes inside
    front.setCurrent(std::nullopt);
    clock.advance(30s);
    EXPECT_EQ(reports, Names{"Zoom"});
}

TEST_F(AppDetectorTest, TheHandlerMayDestroyTheDetector) {
    const auto destroying = [this](const Name& name) {
        detector.reset();
        reports.push_back(name);
    };
    detector.emplace(front, browser, clock, destroying);
    detector->start();
    front.switchTo("zoom");
    EXPECT_FALSE(front.isWatched());

    detector.emplace(front, browser, clock, destroying);
    front.setCurrent(std::nullopt);
    detector->start();
    front.setCurrent("slack");
    clock.advance(30s);
    EXPECT_EQ(reports, (Names{"Zoom", "Slack"}));
    EXPECT_FALSE(detector.has_value());
}

} // namespace Varnel
