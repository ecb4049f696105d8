#pragma once

#include <coroutine>
#include <utility>
#include <vector>

namespace Varnel::Testing {

// Holds coroutines back while it is closed. Open it before the end, or they never go on.
class Gate {
public:
    void close() { isOpen_ = false; }

    // Whoever waits goes on inside this call.
    void open() {
        isOpen_ = true;
        for (const auto waiting : std::exchange(waiting_, {}))
            waiting.resume();
    }

    auto passage() {
        struct Awaiter {
            Gate* gate;

            bool await_ready() const noexcept { return gate->isOpen_; }

            void await_suspend(std::coroutine_handle<> coroutine) const { gate->waiting_.push_back(coroutine); }

            void await_resume() const noexcept {}
        };

        return Awaiter{this};
    }

private:
    bool isOpen_ = true;
    std::vector<std::coroutine_handle<>> waiting_;
};

} // namespace Varnel::Testing
