#include "Varnel/Refinement/ProgressRelay.h"

#include <algorithm>

namespace Varnel {

void ProgressRelay::report(double progress) {
    progress = std::clamp(progress, 0.0, 1.0);
    if (!progress_ || !(progress >= reported_ + step))
        return;
    reported_ = progress;
    QMetaObject::invokeMethod(
        &context_, [this, progress] { deliver(progress); }, Qt::QueuedConnection);
}

void ProgressRelay::finish() {
    if (progress_)
        deliver(1.0);
}

void ProgressRelay::deliver(double progress) {
    if (progress <= delivered_)
        return;
    delivered_ = progress;
    const Progress callback = progress_; // the call may end this object
    callback(progress);
}

} // namespace Varnel
