#include "Varnel/Capture/PermissionStatus.h"

#include "support/FakePermissions.h"

#include <gtest/gtest.h>

namespace Varnel {

using Status = PermissionStatus::Status;
using Testing::FakePermissions;

class PermissionStatusTest : public ::testing::Test {
protected:
    FakePermissions permissions;
};

TEST_F(PermissionStatusTest, ReadsAllFourAtOnce) {
    permissions.microphoneStatus = AuthorizationStatus::authorized;
    permissions.systemAudioAllowed = true;
    permissions.otherWindowsAllowed = true;
    permissions.calendarStatus = AuthorizationStatus::authorized;
    const PermissionStatus status(permissions);
    EXPECT_EQ(status.microphone(), Status::granted);
    EXPECT_EQ(status.screenRecording(), Status::granted);
    EXPECT_EQ(status.accessibility(), Status::granted);
    EXPECT_EQ(status.calendars(), Status::granted);
}

TEST_F(PermissionStatusTest, WhatIsYesOrNoIsNeverUndetermined) {
    const PermissionStatus status(permissions);
    EXPECT_EQ(status.microphone(), Status::notDetermined);
    EXPECT_EQ(status.screenRecording(), Status::denied);
    EXPECT_EQ(status.accessibility(), Status::denied);
    EXPECT_EQ(status.calendars(), Status::notDetermined);
}

TEST_F(PermissionStatusTest, MapsEveryValueOfTheMicrophone) {
    PermissionStatus status(permissions);
    const auto of = [&](int value) {
        permissions.microphoneStatus = static_cast<AuthorizationStatus>(value);
        status.refresh();
        return status.microphone();
    };
    EXPECT_EQ(of(1), Status::denied);
    EXPECT_EQ(of(0), Status::notDetermined);
    EXPECT_EQ(of(2), Status::denied);
    EXPECT_EQ(of(3), Status::granted);
    for (const int unknown : {4, 5, -1, 1'000'000})
        EXPECT_EQ(of(unknown), Status::notDetermined) << unknown;
}

TEST_F(PermissionStatusTest, MapsEveryValueOfTheCalendars) {
    PermissionStatus status(permissions);
    const auto of = [&](int value) {
        permissions.calendarStatus = static_cast<AuthorizationStatus>(value);
        status.refresh();
        return status.calendars();
    };
    EXPECT_EQ(of(1), Status::denied);
    EXPECT_EQ(of(0), Status::notDetermined);
    EXPECT_EQ(of(2), Status::denied);
    EXPECT_EQ(of(3), Status::granted);
    EXPECT_EQ(of(4), Status::denied) << "writing is not reading";
    for (const int unknown : {5, -1, 1'000'000})
        EXPECT_EQ(of(unknown), Status::notDetermined) << unknown;
}

TEST_F(PermissionStatusTest, SignalsOncePerRefreshThatChangedSomething) {
    PermissionStatus status(permissions);
    int changes = 0;
    QObject::connect(&status, &PermissionStatus::changed, [&] { ++changes; });
    status.refresh();
    EXPECT_EQ(changes, 0);
    permissions.microphoneStatus = AuthorizationStatus::denied;
    permissions.otherWindowsAllowed = true;
    status.refresh();
    EXPECT_EQ(changes, 1);
    permissions.microphoneStatus = AuthorizationStatus::restricted;
    status.refresh();
    EXPECT_EQ(changes, 1) << "denied either way";
    permissions.otherWindowsAllowed = false;
    status.refresh();
    EXPECT_EQ(changes, 2);
}

} // namespace Varnel
