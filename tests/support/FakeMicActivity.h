#pragma once

#include "Varnel/Platform/MicActivity.h"

#include <map>
#include <utility>

namespace Varnel::Testing {

// Microphones that the test sets up; a change tells the watchers at once.
class FakeMicActivity final : public MicActivity {
public:
    Device defaultDevice() const override { return defaultDevice_; }

    std::optional<bool> isInUse(Device device) const override {
        const auto found = use_.find(device);
        return found == use_.end() ? std::nullopt : found->second;
    }

    QStringList users(Device) const override { return {}; }

    void watchUse(Device device, std::function<void()> onChange) override { set(useWatchers, device, onChange); }

    void watchDefaultDevice(std::function<void()> onChange) override { defaultWatcher = std::move(onChange); }

    // None: it cannot be told.
    void setUse(Device device, std::optional<bool> isInUse) {
        use_[device] = isInUse;
        if (const auto watcher = useWatchers.find(device); watcher != useWatchers.end())
            call(watcher->second);
    }

    void setDefaultDevice(Device device) {
        defaultDevice_ = device;
        call(defaultWatcher);
    }

    std::map<Device, std::function<void()>> useWatchers;
    std::function<void()> defaultWatcher;

private:
    static void set(std::map<Device, std::function<void()>>& watchers, Device device, std::function<void()> onChange) {
        if (onChange)
            watchers[device] = std::move(onChange);
        else
            watchers.erase(device);
    }

    // A copy, since the handler may remove itself.
    static void call(const std::function<void()>& watcher) {
        if (const auto handler = watcher)
            handler();
    }

    Device defaultDevice_ = 0;
    std::map<Device, std::optional<bool>> use_;
};

} // namespace Varnel::Testing
