#include "Varnel/Capture/AppDetector.h"

#include "Varnel/Capture/MeetingApps.h"
#include "Varnel/Capture/MeetingHost.h"

#include <chrono>
#include <utility>

namespace Varnel {

namespace {

constexpr std::chrono::seconds pollInterval{3};

} // namespace

AppDetector::AppDetector(FrontmostApp& frontmostApp, BrowserAddress& browserAddress, Clock& clock, OnChange onChange)
    : frontmostApp_(frontmostApp), browserAddress_(browserAddress), clock_(clock), onChange_(std::move(onChange)) {}

AppDetector::~AppDetector() {
    stop();
}

void AppDetector::start() {
    frontmostApp_.watch(
        [this](const std::optional<QString>& applicationID) { reportIfChanged(displayName(applicationID)); });
    look();
}

void AppDetector::stop() {
    frontmostApp_.watch(nullptr);
    cancelPoll();
}

std::optional<QString> AppDetector::displayName(const std::optional<QString>& applicationID) {
    if (!applicationID)
        return std::nullopt;
    if (const auto name = meetingAppName(*applicationID))
        return name;
    if (!isKnownBrowser(*applicationID))
        return std::nullopt;
    const auto address = browserAddress_.activeTab(*applicationID);
    return address ? matchMeetingHost(*address) : std::nullopt;
}

void AppDetector::look() {
    const auto name = displayName(frontmostApp_.current());
    // The next look is arranged before the report, so that whoever is told may stop or drop the detector.
    cancelPoll();
    pollTimer_ = clock_.callAfter(pollInterval, [this] { look(); });
    reportIfChanged(name);
}

void AppDetector::cancelPoll() {
    if (pollTimer_)
        clock_.cancel(*pollTimer_);
    pollTimer_.reset();
}

void AppDetector::reportIfChanged(const std::optional<QString>& name) {
    if (name == lastReported_)
        return;
    lastReported_ = name;
    const OnChange onChange = onChange_;
    onChange(name);
}

} // namespace Varnel
