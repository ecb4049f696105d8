#include "Varnel/Refinement/ParallelProgress.h"

#include <algorithm>

namespace Varnel {

ParallelProgress::Report ParallelProgress::job(std::size_t index) {
    if (!report_)
        return {};
    return [this, index](double share) { set(index, share); };
}

void ParallelProgress::set(std::size_t index, double share) {
    const std::lock_guard lock(mutex_);
    shares_[index] = share;
    const double slowest = *std::min_element(shares_.begin(), shares_.end());
    if (report_ && slowest < 1)
        report_(slowest);
}

} // namespace Varnel
