#pragma once

#include "Varnel/Platform/BrowserAddress.h"
#include "Varnel/Platform/Clock.h"
#include "Varnel/Platform/FrontmostApp.h"

#include <QString>

#include <functional>
#include <optional>

namespace Varnel {

// Says which meeting application is in front, looking at the active tab's address inside browsers. Reports changes
// only. The handler may stop or destroy the detector. Main context only.
class AppDetector {
public:
    using OnChange = std::function<void(const std::optional<QString>& name)>;

    // All of it outlives the detector.
    AppDetector(FrontmostApp& frontmostApp, BrowserAddress& browserAddress, Clock& clock, OnChange onChange);
    ~AppDetector();
    AppDetector(const AppDetector&) = delete;
    AppDetector& operator=(const AppDetector&) = delete;

    // Watches switches of application, and looks again every 3 s, since a tab can change without a switch.
    void start();
    // What was reported last still stands for a later start.
    void stop();

    // "Zoom" for "zoom"; for a browser the service on its active tab; none for anything else.
    std::optional<QString> displayName(const std::optional<QString>& applicationID);

private:
    // At the front application, now and every 3 s from then on.
    void look();
    void cancelPoll();
    void reportIfChanged(const std::optional<QString>& name);

    FrontmostApp& frontmostApp_;
    BrowserAddress& browserAddress_;
    Clock& clock_;
    OnChange onChange_;
    std::optional<QString> lastReported_;
    std::optional<int> pollTimer_;
};

} // namespace Varnel
