#include "Varnel/Platform/Linux/SystemClock.h"

#include <QTimer>

#include <unordered_map>
#include <utility>

namespace Varnel {

struct SystemClock::Private {
    std::unordered_map<int, std::unique_ptr<QTimer>> timers;
    int lastId = 0;
};

SystemClock::SystemClock() : d(std::make_unique<Private>()) {}

SystemClock::~SystemClock() = default;

QDateTime SystemClock::now() const {
    return QDateTime::currentDateTimeUtc();
}

std::chrono::steady_clock::time_point SystemClock::monotonic() const {
    return std::chrono::steady_clock::now();
}

int SystemClock::callAfter(std::chrono::milliseconds delay, std::function<void()> action) {
    const int id = ++d->lastId;
    auto timer = std::make_unique<QTimer>();
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer.get(), &QTimer::timeout, timer.get(), [this, id, action = std::move(action)] {
        const auto found = d->timers.find(id);
        found->second.release()->deleteLater(); // it is the sender
        d->timers.erase(found);
        // The connection, and with it this closure, lives until the timer is deleted.
        action();
    });
    timer->start(delay);
    d->timers.emplace(id, std::move(timer));
    return id;
}

void SystemClock::cancel(int id) {
    d->timers.erase(id);
}

} // namespace Varnel
