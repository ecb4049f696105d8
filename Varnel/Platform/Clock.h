#pragma once

#include <QDateTime>

#include <chrono>
#include <functional>

namespace Varnel {

// Time as the application sees it. All waiting and every "now" goes through this port, so that tests run on a clock
// that they advance by hand.
class Clock {
public:
    virtual ~Clock() = default;

    // The current date, in UTC.
    virtual QDateTime now() const = 0;

    // Monotonic time for measuring.
    virtual std::chrono::steady_clock::time_point monotonic() const = 0;

    // Runs `action` once on the main context after `delay`. Returns an id for `cancel`.
    virtual int callAfter(std::chrono::milliseconds delay, std::function<void()> action) = 0;
    virtual void cancel(int id) = 0;
};

} // namespace Varnel
