#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// The speech module's one logging facade: a category and six levels. Cheap to copy; may be used from any thread.
// A call never waits: lines are handed to the log and to the console asynchronously.
class AppLogger {
public:
    enum class Level { debug, info, notice, warning, error, fault };

    // One line of the log, as its sinks get it.
    struct Line {
        Level level;
        std::string_view category;
        std::string_view message;
    };

    // Receives every line, on the thread that logs. A program installs one (its log file); tests install one to look
    // at the lines. Must not log itself.
    class Sink {
    public:
        virtual ~Sink() = default;
        virtual void write(const Line& line) = 0;
    };

    explicit AppLogger(std::string category);

    void debug(std::string_view message) const { log(Level::debug, message); }

    void info(std::string_view message) const { log(Level::info, message); }

    void notice(std::string_view message) const { log(Level::notice, message); }

    void warning(std::string_view message) const { log(Level::warning, message); }

    void error(std::string_view message) const { log(Level::error, message); }

    void fault(std::string_view message) const { log(Level::fault, message); }

    void log(Level level, std::string_view message) const;

    const std::string& category() const { return category_; }

    // The module-wide subsystem identifier, "app.varnel.speech" unless set. Set it before the first line.
    static std::string subsystem();
    static void setSubsystem(std::string subsystem);

    // Replaces the sink and returns the one before; none means that lines go to the console only.
    static std::shared_ptr<Sink> setSink(std::shared_ptr<Sink> sink);

private:
    std::string category_;
};

// "debug", "info", "notice", "warning", "error", "fault"
std::string_view name(AppLogger::Level level);

} // namespace VarnelSpeech
