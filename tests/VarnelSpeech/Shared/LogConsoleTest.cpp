#include "VarnelSpeech/Shared/LogConsole.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace VarnelSpeech;

namespace {

// An output that keeps what it gets, and that can be held up as a stalled terminal would be.
class Terminal {
public:
    LogConsole::Output output() {
        return [this](std::string_view lines) {
            std::unique_lock lock(mutex_);
            ++calls_;
            changed_.notify_all();
            changed_.wait(lock, [this] { return !isStalled_; });
            text_ += lines;
        };
    }

    void stall() {
        const std::lock_guard lock(mutex_);
        isStalled_ = true;
    }

    void goOn() {
        const std::lock_guard lock(mutex_);
        isStalled_ = false;
        changed_.notify_all();
    }

    void waitForFirstCall() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return calls_ > 0; });
    }

    std::string text() const {
        const std::lock_guard lock(mutex_);
        return text_;
    }

    std::size_t lines() const {
        const std::string all = text();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), '\n'));
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    int calls_ = 0;
    bool isStalled_ = false;
};

const AppLogger::Line line{AppLogger::Level::info, "ASR", "hello"};

} // namespace

TEST(LogConsole, PrintsNothingUntilItIsEnabled) {
    Terminal terminal;
    LogConsole console(terminal.output());
    console.print(line);
    console.flush();
    EXPECT_EQ(terminal.text(), "");
    console.enable();
    console.print(line);
    console.flush();
    EXPECT_EQ(terminal.lines(), 1U);
    console.disable();
    console.print(line);
    console.flush();
    EXPECT_EQ(terminal.lines(), 1U);
}

TEST(LogConsole, IsQuietInLibraryUse) {
    EXPECT_FALSE(LogConsole::shared().isEnabled());
}

TEST(LogConsole, PrintsTimeLevelCategoryAndMessage) {
    const char* zone = std::getenv("TZ");
    const std::string before = zone != nullptr ? zone : "";
    setenv("TZ", "UTC", 1);
    tzset();
    const auto time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000007));
    EXPECT_EQ(LogConsole::formatted({AppLogger::Level::warning, "MLArrayCache", "nothing left"}, time),
              "22:13:20.007 [warning] [MLArrayCache] nothing left\n");
    if (zone != nullptr)
        setenv("TZ", before.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

TEST(LogConsole, DoesNotWaitForAStalledTerminalAndCountsWhatItDrops) {
    Terminal terminal;
    terminal.stall();
    LogConsole console(terminal.output(), 3);
    console.enable();
    console.print(line);
    terminal.waitForFirstCall(); // the first line is with the terminal, the queue is empty
    for (int count = 0; count < 3 + 5; ++count)
        console.print(line);
    terminal.goOn();
    console.flush();
    EXPECT_EQ(terminal.lines(), 1U + 3U + 1U);
    EXPECT_TRUE(terminal.text().ends_with("5 log lines dropped\n")) << terminal.text();
    console.print(line);
    console.flush();
    EXPECT_EQ(terminal.lines(), 6U) << "the note comes once";
}

TEST(LogConsole, TakesLinesFromManyThreadsWhole) {
    Terminal terminal;
    LogConsole console(terminal.output(), 100000);
    console.enable();
    {
        std::vector<std::jthread> writers;
        for (int writer = 0; writer < 4; ++writer)
            writers.emplace_back([&console] {
                for (int count = 0; count < 250; ++count)
                    console.print(line);
            });
    }
    console.flush();
    EXPECT_EQ(terminal.lines(), 1000U);
}

TEST(LogConsole, WritesWhatWaitsWhenItStops) {
    Terminal terminal;
    {
        LogConsole console(terminal.output());
        console.enable();
        for (int count = 0; count < 100; ++count)
            console.print(line);
    }
    EXPECT_EQ(terminal.lines(), 100U);
}

TEST(LogConsole, DropsLinesSilentlyAfterItsStop) {
    Terminal terminal;
    LogConsole console(terminal.output());
    console.enable();
    console.stop();
    console.print(line);
    console.stop();
    EXPECT_EQ(terminal.text(), "");
}
