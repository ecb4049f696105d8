#pragma once

#include <filesystem>
#include <memory>

namespace Varnel::CommandLine {

// While it lives, the log lines of the application and of the speech module go to the log file and, with the console
// on, to standard error. A log file that cannot be opened is no failure: lines then go to the console only.
class LogRouting {
public:
    enum class Console { on, off };

    LogRouting(const std::filesystem::path& logFile, Console console);
    // Waits until the console has written what it was given.
    ~LogRouting();

    LogRouting(const LogRouting&) = delete;
    LogRouting& operator=(const LogRouting&) = delete;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace Varnel::CommandLine
