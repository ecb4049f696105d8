#pragma once

#include "Varnel/Platform/Permissions.h"

namespace Varnel::Testing {

// What the test allows; nothing at first.
class FakePermissions final : public Permissions {
public:
    AuthorizationStatus microphone() const override { return microphoneStatus; }

    bool canCaptureSystemAudio() const override { return systemAudioAllowed; }

    bool canReadOtherWindows() const override { return otherWindowsAllowed; }

    AuthorizationStatus calendars() const override { return calendarStatus; }

    AuthorizationStatus microphoneStatus = AuthorizationStatus::notDetermined;
    bool systemAudioAllowed = false;
    bool otherWindowsAllowed = false;
    AuthorizationStatus calendarStatus = AuthorizationStatus::notDetermined;
};

} // namespace Varnel::Testing
