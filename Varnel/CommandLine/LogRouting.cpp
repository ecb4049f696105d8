#include "Varnel/CommandLine/LogRouting.h"

#include "Varnel/Platform/ApplicationLog.h"
#include "Varnel/Platform/Linux/LogFile.h"
#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/LogConsole.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

namespace Varnel::CommandLine {

namespace {

using VarnelSpeech::AppLogger;
using VarnelSpeech::LogConsole;

constexpr const char* applicationCategory = "Varnel";

LogFile::Level level(AppLogger::Level level) {
    switch (level) {
    case AppLogger::Level::debug:
        return LogFile::Level::debug;
    case AppLogger::Level::info:
        return LogFile::Level::info;
    case AppLogger::Level::notice:
        return LogFile::Level::notice;
    case AppLogger::Level::warning:
        return LogFile::Level::warning;
    case AppLogger::Level::error:
        return LogFile::Level::error;
    case AppLogger::Level::fault:
        return LogFile::Level::fault;
    }
    return LogFile::Level::info;
}

class SpeechSink final : public AppLogger::Sink {
public:
    explicit SpeechSink(std::shared_ptr<LogFile> file) : file_(std::move(file)) {}

    void write(const AppLogger::Line& line) override { file_->write(level(line.level), line.category, line.message); }

private:
    std::shared_ptr<LogFile> file_;
};

} // namespace

struct LogRouting::Private {
    std::shared_ptr<LogFile> file;
    Console console = Console::off;
    std::shared_ptr<AppLogger::Sink> speechSinkBefore;
    LogSink applicationSinkBefore;
};

LogRouting::LogRouting(const std::filesystem::path& logFile, Console console) : d(std::make_unique<Private>()) {
    std::optional<std::string> problem;
    try {
        d->file = std::make_shared<LogFile>(logFile);
    } catch (const std::exception& error) {
        problem = error.what();
    }
    d->console = console;
    if (console == Console::on)
        LogConsole::shared().enable();
    if (d->file)
        d->speechSinkBefore = AppLogger::setSink(std::make_shared<SpeechSink>(d->file));
    d->applicationSinkBefore = setLogSink([file = d->file](const QString& line) {
        const std::string text = line.toStdString();
        if (file)
            file->write(LogFile::Level::notice, applicationCategory, text);
        LogConsole::shared().print({AppLogger::Level::notice, applicationCategory, text});
    });
    if (problem)
        log(QString::fromStdString(*problem));
}

LogRouting::~LogRouting() {
    setLogSink(std::move(d->applicationSinkBefore));
    if (d->file)
        AppLogger::setSink(std::move(d->speechSinkBefore));
    if (d->console == Console::on) {
        LogConsole::shared().flush();
        LogConsole::shared().disable();
    }
}

} // namespace Varnel::CommandLine
