#include "Varnel/Platform/Linux/LogFile.h"

#include <fmt/format.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace Varnel {

namespace {

const char* name(LogFile::Level level) {
    switch (level) {
    case LogFile::Level::debug:
        return "debug";
    case LogFile::Level::info:
        return "info";
    case LogFile::Level::notice:
        return "notice";
    case LogFile::Level::warning:
        return "warning";
    case LogFile::Level::error:
        return "error";
    case LogFile::Level::fault:
        return "fault";
    }
    return "unknown";
}

} // namespace

std::string logLine(LogFile::Level level, std::string_view category, std::string_view message) {
    std::string line =
        category.empty() ? fmt::format("[{}] ", name(level)) : fmt::format("[{}] [{}] ", name(level), category);
    for (const char character : message) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n')
            line += "\\n";
        else if (byte < 0x20 || byte == 0x7f)
            line += fmt::format("\\x{:02X}", byte);
        else
            line += character;
    }
    return line;
}

struct LogFile::Private {
    std::shared_ptr<spdlog::logger> logger;
};

LogFile::LogFile(const std::filesystem::path& file) : d(std::make_unique<Private>()) {
    try {
        std::filesystem::create_directories(file.parent_path());
        auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file.string(), maximumBytes, olderFiles);
        d->logger = std::make_shared<spdlog::logger>("varnel", std::move(sink));
    } catch (const std::exception& error) {
        throw std::runtime_error(fmt::format("cannot open the log '{}': {}", file.string(), error.what()));
    }
    // One that an earlier process left readable becomes private too.
    ::chmod(file.c_str(), S_IRUSR | S_IWUSR);
    d->logger->set_pattern(fmt::format("%Y-%m-%dT%H:%M:%S.%e%z {} %v", ::getpid()));
    d->logger->set_level(spdlog::level::trace);
    d->logger->flush_on(spdlog::level::trace);
    // A log that cannot be written (a full disk) is no reason to fail or to talk.
    d->logger->set_error_handler([](const std::string&) {});
}

LogFile::~LogFile() = default;

void LogFile::write(Level level, std::string_view category, std::string_view message) {
    d->logger->log(spdlog::level::info, "{}", logLine(level, category, message));
}

} // namespace Varnel
