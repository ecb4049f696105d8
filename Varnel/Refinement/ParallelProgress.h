#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

namespace Varnel {

// The common progress of jobs that work side by side: that of the slowest. The jobs report from their own threads, and
// what they report is passed on by one thread at a time.
class ParallelProgress {
public:
    using Report = std::function<void(double)>;

    // `report` may be empty.
    ParallelProgress(std::size_t jobs, Report report) : report_(std::move(report)), shares_(jobs) {}

    ParallelProgress(const ParallelProgress&) = delete;
    ParallelProgress& operator=(const ParallelProgress&) = delete;

    // What one job reports to, rising values from 0 to 1; valid as long as this object. Empty when nobody listens.
    Report job(std::size_t index);

    // The job holds nobody up any more, whatever became of it. The end of all is not passed on.
    void finish(std::size_t index) { set(index, 1); }

private:
    void set(std::size_t index, double share);

    std::mutex mutex_; // guards all below
    Report report_;
    std::vector<double> shares_;
};

} // namespace Varnel
