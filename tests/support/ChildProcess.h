#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <stdexcept>

namespace VarnelSpeech::Testing {

// Work in a process of its own, a copy of the test's at this moment: for what two processes do to one file. Must be
// started before the test has threads or connections that would not stand the copying.
class ChildProcess {
public:
    template <typename Work>
    explicit ChildProcess(const Work& work) : process_(::fork()) {
        if (process_ < 0)
            throw std::runtime_error("no process could be started");
        if (process_ > 0)
            return;
        int status = 0;
        try {
            work();
        } catch (const std::exception&) {
            status = 1;
        }
        ::_exit(status);
    }

    ~ChildProcess() {
        if (process_ > 0)
            succeeded();
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits for its end: whether the work was done and threw nothing.
    bool succeeded() {
        int status = -1;
        const bool hasEnded = ::waitpid(process_, &status, 0) == process_;
        process_ = -1;
        return hasEnded && status == 0;
    }

private:
    pid_t process_;
};

} // namespace VarnelSpeech::Testing
