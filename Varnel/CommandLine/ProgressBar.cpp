#include "Varnel/CommandLine/ProgressBar.h"

#include "Varnel/CommandLine/ErrorLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace Varnel::CommandLine {

namespace {

constexpr auto redrawInterval = std::chrono::milliseconds(100);
constexpr std::size_t barWidth = 24;

// The first `count` characters of UTF-8.
std::string_view shortened(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    while (end < text.size() && count > 0) {
        ++end;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80)
            ++end;
        --count;
    }
    return text.substr(0, end);
}

} // namespace

ProgressBar::ProgressBar(std::FILE* file, Visibility visibility, int columns, Now now)
    : file_(file),
      visibility_(visibility),
      columns_(std::max(columns, 20)),
      now_(now ? std::move(now) : Now(&std::chrono::steady_clock::now)) {}

ProgressBar::~ProgressBar() {
    clear();
}

void ProgressBar::begin(std::string_view activity) {
    activity_ = singleLine(activity);
    begun_ = now_();
    drawn_.reset();
    draw(std::nullopt, {});
}

void ProgressBar::update(double fraction, std::string_view detail) {
    if (drawn_ && now_() - *drawn_ < redrawInterval)
        return;
    drawn_ = now_();
    draw(std::clamp(fraction, 0.0, 1.0), detail);
}

void ProgressBar::clear() {
    if (!onScreen_)
        return;
    std::fputs("\r\x1b[K", file_);
    std::fflush(file_);
    onScreen_ = false;
}

void ProgressBar::draw(std::optional<double> fraction, std::string_view detail) {
    if (visibility_ == Visibility::hidden)
        return;
    std::string line = activity_;
    if (fraction) {
        const auto filled = static_cast<std::size_t>(std::floor(*fraction * static_cast<double>(barWidth)));
        line += fmt::format("  [{}{}] {:3.0f}%", std::string(filled, '#'), std::string(barWidth - filled, '.'),
                            std::floor(*fraction * 100.0));
        if (!detail.empty())
            line += fmt::format("  {}", singleLine(detail));
        if (const auto left = remainingTime(*fraction, now_() - begun_))
            line += fmt::format("  {} left", *left);
    } else {
        line += " ...";
    }
    // One column stays free: a full line would wrap.
    const std::string_view visible = shortened(line, static_cast<std::size_t>(columns_ - 1));
    std::fputs("\r\x1b[K", file_);
    std::fwrite(visible.data(), 1, visible.size(), file_);
    std::fflush(file_);
    onScreen_ = true;
}

std::optional<std::string> remainingTime(double fraction, std::chrono::duration<double> elapsed) {
    constexpr double firstEstimate = 0.02;
    if (!(fraction >= firstEstimate) || elapsed.count() < 0.5)
        return std::nullopt;
    const double left = elapsed.count() / fraction - elapsed.count();
    const auto seconds = static_cast<std::int64_t>(std::min(std::ceil(std::max(left, 0.0)), 359999.0));
    if (seconds < 3600)
        return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds % 3600 / 60, seconds % 60);
}

std::string byteText(std::uint64_t bytes) {
    constexpr const char* units[] = {"kB", "MB", "GB", "TB"};
    if (bytes < 1000)
        return fmt::format("{} B", bytes);
    double value = static_cast<double>(bytes) / 1000.0;
    std::size_t unit = 0;
    while (value >= 999.95 && unit + 1 < std::size(units)) {
        value /= 1000.0;
        ++unit;
    }
    return fmt::format("{:.1f} {}", value, units[unit]);
}

} // namespace Varnel::CommandLine
