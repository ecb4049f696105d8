#include "Varnel/Refinement/ExportTime.h"

#include "Varnel/Refinement/Export.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Varnel::Export {

namespace {

// Truncates towards zero. What is no number counts as 0; beyond 2^53 a double has no seconds any more.
std::int64_t whole(double value) {
    constexpr double limit = 9007199254740992.0;
    return std::isnan(value) ? 0 : static_cast<std::int64_t>(std::clamp(value, -limit, limit));
}

} // namespace

QString lineTime(double seconds) {
    const std::int64_t t = whole(seconds);
    return QString::fromStdString(fmt::format("{:02}:{:02}", t / 60, t % 60));
}

QString durationText(double seconds) {
    const std::int64_t t = whole(seconds);
    if (t < 3600)
        return QString::fromStdString(fmt::format("{}:{:02}", t / 60, t % 60));
    return QString::fromStdString(fmt::format("{}:{:02}:{:02}", t / 3600, t % 3600 / 60, t % 60));
}

QString srtTimestamp(double seconds) {
    const std::int64_t t = whole(seconds);
    const std::int64_t milliseconds = std::isfinite(seconds) ? whole((seconds - static_cast<double>(t)) * 1000) : 0;
    return QString::fromStdString(
        fmt::format("{:02}:{:02}:{:02},{:03}", t / 3600, t % 3600 / 60, t % 60, milliseconds));
}

} // namespace Varnel::Export
