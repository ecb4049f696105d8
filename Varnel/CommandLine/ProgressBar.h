#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Varnel::CommandLine {

// One line at the bottom of a terminal that says what the program is doing and how far it is. Off: nothing is shown.
// Main thread only.
class ProgressBar {
public:
    enum class Visibility { shown, hidden };
    using Now = std::function<std::chrono::steady_clock::time_point()>;

    ProgressBar(std::FILE* file, Visibility visibility, int columns, Now now = {});
    // Takes the line away.
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // What is being done from here on; the estimate of the remaining time starts anew.
    void begin(std::string_view activity);
    // How much of it is done, 0 to 1, and a word on where it stands. Redraws at most ten times a second.
    void update(double fraction, std::string_view detail = {});
    void clear();

private:
    void draw(std::optional<double> fraction, std::string_view detail);

    std::FILE* file_;
    Visibility visibility_;
    int columns_;
    Now now_;
    std::string activity_;
    std::chrono::steady_clock::time_point begun_{};
    std::optional<std::chrono::steady_clock::time_point> drawn_;
    bool onScreen_ = false;
};

// "0:07", "1:02:03"; what is left when `fraction` took `elapsed`. None before there is something to go by.
std::optional<std::string> remainingTime(double fraction, std::chrono::duration<double> elapsed);

// "512 B", "1.4 MB"
std::string byteText(std::uint64_t bytes);

} // namespace Varnel::CommandLine
