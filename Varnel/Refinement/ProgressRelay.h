#pragma once

#include <QObject>

#include <functional>

namespace Varnel {

// Carries the progress of work on a thread to the main context: rising values from 0 to 1, thinned out so that a long
// file does not flood the event loop. Made and destroyed on the main context; what has not been delivered by then is
// dropped.
class ProgressRelay {
public:
    using Progress = std::function<void(double)>;

    // `progress` may be empty.
    explicit ProgressRelay(Progress progress) : progress_(std::move(progress)) {}

    ProgressRelay(const ProgressRelay&) = delete;
    ProgressRelay& operator=(const ProgressRelay&) = delete;

    bool isWanted() const { return static_cast<bool>(progress_); }

    // One thread at a time. Values that do not rise by at least a step are left out.
    void report(double progress);

    // The end, on the main context: 1, at once.
    void finish();

    static constexpr double step = 0.001;

private:
    void deliver(double progress);

    Progress progress_;
    double reported_ = -1;  // the reporting thread's
    double delivered_ = -1; // the main context's
    QObject context_;
};

} // namespace Varnel
