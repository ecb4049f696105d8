#pragma once

#include "Varnel/Refinement/MainContextWait.h"

#include <exception>
#include <functional>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

namespace Varnel {

// Work on a thread of its own, awaited by a coroutine of the main context:
//
//     BackgroundJob<Samples> reading(room, stop, [file](std::stop_token stop) { return read(file, stop); });
//     Samples samples = co_await completion(reading); // or what the work threw
//
// Starts at once. The end of the job's life asks the work to stop and waits for it, so that the work may use whatever
// outlives the job.
template <typename Result>
class BackgroundJob final : public MainContextWait {
public:
    using Work = std::function<Result(std::stop_token)>;

    BackgroundJob(WaitingRoom& room, std::stop_token stop, Work work)
        : MainContextWait(room),
          work_(std::move(work)),
          forwardStop_(std::move(stop), [this] { stop_.request_stop(); }),
          thread_([this] { run(); }) {}

    ~BackgroundJob() override {
        stop_.request_stop();
        thread_.join();
    }

    // Once.
    Result result() {
        MainContextWait::result();
        if (error_)
            std::rethrow_exception(std::exchange(error_, nullptr));
        return std::move(*result_);
    }

private:
    void run() noexcept {
        try {
            result_.emplace(work_(stop_.get_token()));
        } catch (...) {
            error_ = std::current_exception();
        }
        endLater();
    }

    Work work_;
    std::optional<Result> result_;
    std::exception_ptr error_;
    std::stop_source stop_;
    std::stop_callback<std::function<void()>> forwardStop_;
    std::thread thread_;
};

} // namespace Varnel
