#pragma once

#include "Varnel/Platform/AuthorizationStatus.h"

namespace Varnel {

// The state of what the desktop may refuse. Read afresh at each call, quickly; never asks the user. Main context only.
class Permissions {
public:
    virtual ~Permissions() = default;

    virtual AuthorizationStatus microphone() const = 0;
    virtual bool canCaptureSystemAudio() const = 0;
    virtual bool canReadOtherWindows() const = 0;
    virtual AuthorizationStatus calendars() const = 0;
};

} // namespace Varnel
