#include "VarnelSpeech/Shared/LogConsole.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace VarnelSpeech {

namespace {

// The date formatter: local time of day with milliseconds.
std::string timeOfDay(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    const auto milliseconds =
        std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch() % std::chrono::seconds(1);
    std::tm local{};
    localtime_r(&seconds, &local);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                       (milliseconds.count() + 1000) % 1000);
}

} // namespace

LogConsole& LogConsole::shared() {
    // Outlives every static object, so that whatever logs last still finds it; its thread ends with the process.
    static LogConsole* const console = [] {
        auto* made = new LogConsole([](std::string_view lines) {
            std::fwrite(lines.data(), 1, lines.size(), stderr);
            std::fflush(stderr);
        });
        std::atexit([] { shared().stop(); });
        return made;
    }();
    return *console;
}

LogConsole::LogConsole(Output output, std::size_t capacity) : output_(std::move(output)), capacity_(capacity) {}

LogConsole::~LogConsole() {
    stop();
}

void LogConsole::print(const AppLogger::Line& line) {
    if (!isEnabled_)
        return;
    std::string text = formatted(line, std::chrono::system_clock::now());
    {
        const std::lock_guard lock(mutex_);
        if (isStopped_)
            return;
        if (waiting_.size() >= capacity_) {
            ++dropped_;
            return;
        }
        waiting_.push_back(std::move(text));
        if (!thread_.joinable())
            thread_ = std::thread(&LogConsole::run, this);
    }
    work_.notify_one();
}

void LogConsole::flush() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return waiting_.empty() && dropped_ == 0 && !isWriting_; });
}

void LogConsole::stop() {
    std::thread ending;
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        ending = std::move(thread_);
    }
    work_.notify_one();
    if (ending.joinable())
        ending.join();
}

void LogConsole::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        work_.wait(lock, [this] { return !waiting_.empty() || isStopped_; });
        if (waiting_.empty())
            return;
        std::deque<std::string> lines = std::exchange(waiting_, {});
        const std::size_t dropped = std::exchange(dropped_, 0);
        isWriting_ = true;
        lock.unlock();
        for (const std::string& line : lines)
            output_(line);
        if (dropped > 0)
            output_(fmt::format("{} log lines dropped\n", dropped));
        lock.lock();
        isWriting_ = false;
        idle_.notify_all();
    }
}

std::string LogConsole::formatted(const AppLogger::Line& line, std::chrono::system_clock::time_point time) {
    return fmt::format("{} [{}] [{}] {}\n", timeOfDay(time), name(line.level), line.category, line.message);
}

} // namespace VarnelSpeech
