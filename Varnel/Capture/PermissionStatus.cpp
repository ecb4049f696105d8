#include "Varnel/Capture/PermissionStatus.h"

#include <tuple>

namespace Varnel {

namespace {

using Status = PermissionStatus::Status;

// Values that this version does not know are undetermined.
Status microphoneStatus(AuthorizationStatus status) {
    switch (status) {
    case AuthorizationStatus::restricted:
    case AuthorizationStatus::denied:
        return Status::denied;
    case AuthorizationStatus::authorized:
        return Status::granted;
    default:
        return Status::notDetermined;
    }
}

Status calendarStatus(AuthorizationStatus status) {
    return status == AuthorizationStatus::writeOnly ? Status::denied : microphoneStatus(status);
}

Status yesOrNo(bool isAllowed) {
    return isAllowed ? Status::granted : Status::denied;
}

} // namespace

PermissionStatus::PermissionStatus(const Permissions& permissions, QObject* parent)
    : QObject(parent), permissions_(permissions) {
    refresh();
}

void PermissionStatus::refresh() {
    const auto all = [this] { return std::tuple(microphone_, screenRecording_, accessibility_, calendars_); };
    const auto before = all();
    microphone_ = microphoneStatus(permissions_.microphone());
    screenRecording_ = yesOrNo(permissions_.canCaptureSystemAudio());
    accessibility_ = yesOrNo(permissions_.canReadOtherWindows());
    calendars_ = calendarStatus(permissions_.calendars());
    if (all() != before)
        Q_EMIT changed();
}

} // namespace Varnel
