#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace VarnelSpeech {

// Mirrors the log to the console. A serialised object with a thread of its own: print() hands the line over and
// returns, the thread writes it. Prints nothing until it is enabled. At most `capacity` lines wait; when the console
// is slower than the log, further lines are dropped and a note says how many.
class LogConsole {
public:
    // Writes one or more whole lines, each with its line end. Called on the console's thread only.
    using Output = std::function<void(std::string_view)>;

    // The process's console, on standard error; off at first.
    static LogConsole& shared();

    explicit LogConsole(Output output, std::size_t capacity = 4096);
    ~LogConsole();
    LogConsole(const LogConsole&) = delete;
    LogConsole& operator=(const LogConsole&) = delete;

    void enable() { isEnabled_ = true; }

    void disable() { isEnabled_ = false; }

    bool isEnabled() const { return isEnabled_; }

    // Never waits for the output.
    void print(const AppLogger::Line& line);

    // Waits until everything handed over so far is written.
    void flush();

    // Writes what waits and ends the thread; later lines are dropped silently. The shared console stops by itself when
    // the process ends.
    void stop();

    // "14:03:05.123 [warning] [ASR] the message", time in the machine's time zone, with a line end.
    static std::string formatted(const AppLogger::Line& line, std::chrono::system_clock::time_point time);

private:
    void run();

    const Output output_;
    const std::size_t capacity_;
    std::atomic<bool> isEnabled_ = false;

    std::mutex mutex_; // guards all below
    std::condition_variable work_;
    std::condition_variable idle_;
    std::deque<std::string> waiting_;
    std::size_t dropped_ = 0; // since the last note
    bool isWriting_ = false;
    bool isStopped_ = false;
    std::thread thread_; // started with the first line
};

} // namespace VarnelSpeech
