#include "Varnel/Capture/MicWatcher.h"

#include <utility>

namespace Varnel {

MicWatcher::MicWatcher(MicActivity& activity, OnChange onChange)
    : activity_(activity), onChange_(std::move(onChange)) {}

MicWatcher::~MicWatcher() {
    stop();
}

void MicWatcher::attachDefaultDevice() {
    detach();
    deviceID_ = activity_.defaultDevice();
    if (deviceID_ == 0)
        return;
    activity_.watchUse(deviceID_, [this] { report(); });
    report();
}

void MicWatcher::watchDefaultDevice() {
    activity_.watchDefaultDevice([this] { attachDefaultDevice(); });
}

void MicWatcher::stop() {
    detach();
    activity_.watchDefaultDevice(nullptr);
}

void MicWatcher::detach() {
    if (deviceID_ != 0)
        activity_.watchUse(deviceID_, nullptr);
    deviceID_ = 0;
}

void MicWatcher::report() {
    const bool isActive = activity_.isInUse(deviceID_).value_or(false);
    const OnChange onChange = onChange_; // whoever is told may drop the watcher
    onChange(isActive);
}

} // namespace Varnel
