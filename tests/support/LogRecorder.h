#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech::Testing {

// Records the speech module's log while it lives. May be written to from any thread.
class LogRecorder {
public:
    struct Line {
        VarnelSpeech::AppLogger::Level level;
        std::string category;
        std::string message;

        bool operator==(const Line&) const = default;
    };

    LogRecorder() : sink_(std::make_shared<Sink>()), before_(VarnelSpeech::AppLogger::setSink(sink_)) {}

    ~LogRecorder() { VarnelSpeech::AppLogger::setSink(before_); }

    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<Line> lines() const {
        const std::lock_guard lock(sink_->mutex);
        return sink_->lines;
    }

    std::vector<std::string> messages(VarnelSpeech::AppLogger::Level level) const {
        std::vector<std::string> found;
        for (const Line& line : lines())
            if (line.level == level)
                found.push_back(line.message);
        return found;
    }

    // Waits for a line that begins so; false after a minute.
    bool waitFor(std::string_view beginning) const {
        std::unique_lock lock(sink_->mutex);
        return sink_->written.wait_until(lock, std::chrono::system_clock::now() + std::chrono::minutes(1), [&] {
            return std::any_of(sink_->lines.begin(), sink_->lines.end(),
                               [&](const Line& line) { return line.message.starts_with(beginning); });
        });
    }

private:
    struct Sink final : VarnelSpeech::AppLogger::Sink {
        void write(const VarnelSpeech::AppLogger::Line& line) override {
            const std::lock_guard lock(mutex);
            lines.push_back({line.level, std::string(line.category), std::string(line.message)});
            written.notify_all();
        }

        std::mutex mutex;
        std::condition_variable written;
        std::vector<Line> lines;
    };

    std::shared_ptr<Sink> sink_;
    std::shared_ptr<VarnelSpeech::AppLogger::Sink> before_;
};

} // namespace VarnelSpeech::Testing
