#include "Varnel/Capture/MicWatcher.h"

#include "support/FakeMicActivity.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace Varnel {

using Testing::FakeMicActivity;

class MicWatcherTest : public ::testing::Test {
protected:
    FakeMicActivity activity;
    std::vector<bool> reports;
    std::optional<MicWatcher> watcher =
        std::optional<MicWatcher>(std::in_place, activity, [this](bool isActive) { reports.push_back(isActive); });
};

TEST_F(MicWatcherTest, ReportsTheStateOfTheDefaultDeviceAtOnce) {
    activity.setDefaultDevice(7);
    activity.setUse(7, true);
    watcher->attachDefaultDevice();
    EXPECT_EQ(watcher->deviceID(), 7U);
    EXPECT_EQ(reports, std::vector{true});
}

TEST_F(MicWatcherTest, ReportsEveryReadingChangedOrNot) {
    activity.setDefaultDevice(7);
    activity.setUse(7, false);
    watcher->attachDefaultDevice();
    activity.setUse(7, true);
    activity.setUse(7, true);
    activity.setUse(7, false);
    EXPECT_EQ(reports, (std::vector{false, true, true, false}));
}

TEST_F(MicWatcherTest, CountsAFailedReadingAsNotInUse) {
    activity.setDefaultDevice(7);
    activity.setUse(7, true);
    watcher->attachDefaultDevice();
    activity.setUse(7, std::nullopt);
    EXPECT_EQ(reports, (std::vector{true, false}));
}

TEST_F(MicWatcherTest, ReportsNothingWithoutADevice) {
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    EXPECT_EQ(watcher->deviceID(), 0U);
    EXPECT_TRUE(activity.useWatchers.empty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(MicWatcherTest, MovesToAnotherDefaultDevice) {
    activity.setDefaultDevice(7);
    activity.setUse(7, true);
    activity.setUse(8, false);
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    activity.setDefaultDevice(8);
    EXPECT_EQ(watcher->deviceID(), 8U);
    activity.setUse(7, true); // the old one is watched no longer
    activity.setUse(8, true);
    EXPECT_EQ(reports, (std::vector{true, false, true}));
}

TEST_F(MicWatcherTest, DoesNotFollowTheDefaultDeviceUnasked) {
    activity.setDefaultDevice(7);
    activity.setUse(7, true);
    watcher->attachDefaultDevice();
    activity.setDefaultDevice(8);
    EXPECT_EQ(watcher->deviceID(), 7U);
    EXPECT_EQ(reports, std::vector{true});
}

TEST_F(MicWatcherTest, TheLastReportStandsWhenTheDeviceGoes) {
    activity.setDefaultDevice(7);
    activity.setUse(7, true);
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    activity.setDefaultDevice(0);
    EXPECT_EQ(watcher->deviceID(), 0U);
    EXPECT_TRUE(activity.useWatchers.empty());
    EXPECT_EQ(reports, std::vector{true});
}

TEST_F(MicWatcherTest, FindsADeviceThatComesLater) {
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    activity.setUse(7, true);
    activity.setDefaultDevice(7);
    EXPECT_EQ(reports, std::vector{true});
}

TEST_F(MicWatcherTest, AttachingAgainReportsAgainWithOneWatchOnly) {
    activity.setDefaultDevice(7);
    activity.setUse(7, false);
    watcher->attachDefaultDevice();
    watcher->attachDefaultDevice();
    activity.setUse(7, true);
    EXPECT_EQ(reports, (std::vector{false, false, true}));
}

TEST_F(MicWatcherTest, StopRemovesBothWatches) {
    activity.setDefaultDevice(7);
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    watcher->stop();
    EXPECT_EQ(watcher->deviceID(), 0U);
    EXPECT_TRUE(activity.useWatchers.empty());
    EXPECT_EQ(activity.defaultWatcher, nullptr);
    watcher->stop();
    EXPECT_EQ(reports, std::vector{false});
}

TEST_F(MicWatcherTest, EndsItsWatchesWithItsLife) {
    activity.setDefaultDevice(7);
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    watcher.reset();
    EXPECT_TRUE(activity.useWatchers.empty());
    EXPECT_EQ(activity.defaultWatcher, nullptr);
}

TEST_F(MicWatcherTest, TheHandlerMayDestroyTheWatcher) {
    activity.setDefaultDevice(7);
    activity.setUse(7, false);
    int calls = 0;
    watcher.emplace(activity, [this, &calls](bool isActive) {
        if (isActive)
            watcher.reset();
        ++calls;
    });
    watcher->attachDefaultDevice();
    watcher->watchDefaultDevice();
    activity.setUse(7, true);
    activity.setUse(7, true);
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(watcher.has_value());
}

} // namespace Varnel
