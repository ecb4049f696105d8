#pragma once

#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>

namespace Varnel {

// Whether any process records from the default microphone, this one included. Main context only; handlers run there.
class MicActivity {
public:
    // Names a device while it is there; 0 is none.
    using Device = std::uint32_t;

    virtual ~MicActivity() = default;

    // 0 when there is no microphone or no audio server.
    virtual Device defaultDevice() const = 0;
    // None when it cannot be told.
    virtual std::optional<bool> isInUse(Device device) const = 0;
    // The application ids (as FrontmostApp gives them) of the processes that record from the device.
    virtual QStringList users(Device device) const = 0;

    // One handler each; null removes it. Called after a change of use, or of which device is the default one.
    virtual void watchUse(Device device, std::function<void()> onChange) = 0;
    virtual void watchDefaultDevice(std::function<void()> onChange) = 0;
};

} // namespace Varnel
