#pragma once

#include "Varnel/Platform/MicActivity.h"

#include <functional>

namespace Varnel {

// Says whether the default microphone is in use by any process, this one included. Reports every reading, changed or
// not. The handler may stop or destroy the watcher. Main context only.
class MicWatcher {
public:
    using OnChange = std::function<void(bool isActive)>;

    // `activity` outlives the watcher.
    MicWatcher(MicActivity& activity, OnChange onChange);
    ~MicWatcher();
    MicWatcher(const MicWatcher&) = delete;
    MicWatcher& operator=(const MicWatcher&) = delete;

    // Moves the watch to the present default device and reports its state; without a device nothing is reported.
    void attachDefaultDevice();
    // Attaches again whenever another device becomes the default.
    void watchDefaultDevice();
    void stop();

    MicActivity::Device deviceID() const { return deviceID_; }

private:
    void detach();
    void report();

    MicActivity& activity_;
    OnChange onChange_;
    MicActivity::Device deviceID_ = 0;
};

} // namespace Varnel
