#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace Varnel {

// The program's log: "varnel.log" and two older ones of 5 MB each, readable by the user alone. One line a call: what
// would break a line (controls) is written as an escape. A call hands the line to the file at once; it may come from
// any thread. Several processes may append to one log.
class LogFile {
public:
    enum class Level { debug, info, notice, warning, error, fault };

    // Makes the folder (0700) if it is absent. Throws std::runtime_error when the log cannot be opened.
    explicit LogFile(const std::filesystem::path& file);
    ~LogFile();

    void write(Level level, std::string_view category, std::string_view message);

    static constexpr std::size_t maximumBytes = 5'000'000;
    static constexpr std::size_t olderFiles = 2;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

// "[warning] [Category] message" without controls; what follows the time stamp in the log, and what a terminal may
// show.
std::string logLine(LogFile::Level level, std::string_view category, std::string_view message);

} // namespace Varnel
