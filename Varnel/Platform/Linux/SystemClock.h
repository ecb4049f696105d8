#pragma once

#include "Varnel/Platform/Clock.h"

#include <memory>

namespace Varnel {

// The machine's clock; delays run on the event loop of the thread that asks.
class SystemClock final : public Clock {
public:
    SystemClock();
    ~SystemClock() override;

    QDateTime now() const override;
    std::chrono::steady_clock::time_point monotonic() const override;
    int callAfter(std::chrono::milliseconds delay, std::function<void()> action) override;
    void cancel(int id) override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace Varnel
