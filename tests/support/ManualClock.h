#pragma once

#include "Varnel/Platform/Clock.h"

#include <map>
#include <utility>

namespace Varnel::Testing {

// A clock that stands until it is advanced. Actions run inside `advance`, in the order of their times.
class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC))
        : now_(std::move(start)) {}

    QDateTime now() const override { return now_; }

    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::time_point(elapsed_);
    }

    int callAfter(std::chrono::milliseconds delay, std::function<void()> action) override {
        ++lastId_;
        waiting_.emplace(std::pair(elapsed_ + delay, lastId_), std::move(action));
        return lastId_;
    }

    void cancel(int id) override {
        std::erase_if(waiting_, [id](const auto& entry) { return entry.first.second == id; });
    }

    void advance(std::chrono::milliseconds duration) {
        const auto end = elapsed_ + duration;
        while (!waiting_.empty() && waiting_.begin()->first.first <= end) {
            auto next = waiting_.extract(waiting_.begin());
            moveTo(next.key().first);
            next.mapped()();
        }
        moveTo(end);
    }

private:
    void moveTo(std::chrono::milliseconds elapsed) {
        if (elapsed > elapsed_) {
            now_ = now_.addMSecs((elapsed - elapsed_).count());
            elapsed_ = elapsed;
        }
    }

    QDateTime now_;
    std::chrono::milliseconds elapsed_{0};
    int lastId_ = 0;
    std::map<std::pair<std::chrono::milliseconds, int>, std::function<void()>> waiting_;
};

} // namespace Varnel::Testing
