#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <memory>
#include <mutex>
#include <string>
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

private:
    struct Sink final : VarnelSpeech::AppLogger::Sink {
        void write(const VarnelSpeech::AppLogger::Line& line) override {
            const std::lock_guard lock(mutex);
            lines.push_back({line.level, std::string(line.category), std::string(line.message)});
        }

        std::mutex mutex;
        std::vector<Line> lines;
    };

    std::shared_ptr<Sink> sink_;
    std::shared_ptr<VarnelSpeech::AppLogger::Sink> before_;
};

} // namespace VarnelSpeech::Testing
