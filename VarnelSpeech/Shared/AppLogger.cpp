#include "VarnelSpeech/Shared/AppLogger.h"

#include "VarnelSpeech/Shared/LogConsole.h"

#include <mutex>
#include <utility>

namespace VarnelSpeech {

namespace {

struct Settings {
    std::mutex mutex;
    std::string subsystem = "app.varnel.speech";
    std::shared_ptr<AppLogger::Sink> sink;
};

// Never destroyed: loggers of static objects may still write while the process ends.
Settings& settings() {
    static Settings* const shared = new Settings;
    return *shared;
}

} // namespace

AppLogger::AppLogger(std::string category) : category_(std::move(category)) {}

void AppLogger::log(Level level, std::string_view message) const {
    const Line line{level, category_, message};
    std::shared_ptr<Sink> sink;
    {
        const std::lock_guard lock(settings().mutex);
        sink = settings().sink;
    }
    // Logging is no reason for the work that logs to fail.
    try {
        if (sink)
            sink->write(line);
        LogConsole::shared().print(line);
    } catch (...) {
    }
}

std::string AppLogger::subsystem() {
    const std::lock_guard lock(settings().mutex);
    return settings().subsystem;
}

void AppLogger::setSubsystem(std::string subsystem) {
    const std::lock_guard lock(settings().mutex);
    settings().subsystem = std::move(subsystem);
}

std::shared_ptr<AppLogger::Sink> AppLogger::setSink(std::shared_ptr<Sink> sink) {
    const std::lock_guard lock(settings().mutex);
    return std::exchange(settings().sink, std::move(sink));
}

std::string_view name(AppLogger::Level level) {
    switch (level) {
    case AppLogger::Level::debug:
        return "debug";
    case AppLogger::Level::info:
        return "info";
    case AppLogger::Level::notice:
        return "notice";
    case AppLogger::Level::warning:
        return "warning";
    case AppLogger::Level::error:
        return "error";
    case AppLogger::Level::fault:
        return "fault";
    }
    return "unknown";
}

} // namespace VarnelSpeech
