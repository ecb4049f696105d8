#include "Varnel/Capture/MeetingApps.h"

#include <QLatin1StringView>

#include <algorithm>
#include <array>

namespace Varnel {

namespace {

struct MeetingApp {
    QLatin1StringView id;
    QLatin1StringView name;
};

constexpr std::array meetingApps{
    MeetingApp{QLatin1StringView("zoom"), QLatin1StringView("Zoom")},
    MeetingApp{QLatin1StringView("us.zoom.xos"), QLatin1StringView("Zoom")},
    MeetingApp{QLatin1StringView("teams-for-linux"), QLatin1StringView("Microsoft Teams")},
    MeetingApp{QLatin1StringView("microsoft teams"), QLatin1StringView("Microsoft Teams")},
    MeetingApp{QLatin1StringView("com.microsoft.teams2"), QLatin1StringView("Microsoft Teams")},
    MeetingApp{QLatin1StringView("com.microsoft.teams"), QLatin1StringView("Microsoft Teams")},
    MeetingApp{QLatin1StringView("slack"), QLatin1StringView("Slack")},
    MeetingApp{QLatin1StringView("com.tinyspeck.slackmacgap"), QLatin1StringView("Slack")},
    MeetingApp{QLatin1StringView("discord"), QLatin1StringView("Discord")},
    MeetingApp{QLatin1StringView("com.hnc.Discord"), QLatin1StringView("Discord")},
    MeetingApp{QLatin1StringView("webex"), QLatin1StringView("Webex")},
    MeetingApp{QLatin1StringView("ciscocollabhost"), QLatin1StringView("Webex")},
    MeetingApp{QLatin1StringView("com.cisco.webexmeetingsapp"), QLatin1StringView("Webex")},
    MeetingApp{QLatin1StringView("com.webex.meetingmanager"), QLatin1StringView("Webex")},
};

constexpr std::array browsers{
    QLatin1StringView("google-chrome"),
    QLatin1StringView("chromium"),
    QLatin1StringView("firefox"),
    QLatin1StringView("firefox-esr"),
    QLatin1StringView("brave-browser"),
    QLatin1StringView("microsoft-edge"),
    QLatin1StringView("vivaldi-stable"),
    QLatin1StringView("opera"),
    QLatin1StringView("com.google.Chrome"),
    QLatin1StringView("com.google.Chrome.canary"),
    QLatin1StringView("com.apple.Safari"),
    QLatin1StringView("com.apple.SafariTechnologyPreview"),
    QLatin1StringView("com.brave.Browser"),
    QLatin1StringView("com.brave.Browser.beta"),
    QLatin1StringView("com.microsoft.edgemac"),
    QLatin1StringView("company.thebrowser.Browser"),
    QLatin1StringView("company.thebrowser.dia"),
    QLatin1StringView("com.vivaldi.Vivaldi"),
    QLatin1StringView("com.operasoftware.Opera"),
};

bool isSame(const QString& applicationID, QLatin1StringView id) {
    return applicationID.compare(id, Qt::CaseInsensitive) == 0;
}

} // namespace

std::optional<QString> meetingAppName(const QString& applicationID) {
    const auto* const found = std::find_if(meetingApps.begin(), meetingApps.end(),
                                           [&](const MeetingApp& app) { return isSame(applicationID, app.id); });
    if (found == meetingApps.end())
        return std::nullopt;
    return QString(found->name);
}

bool isKnownBrowser(const QString& applicationID) {
    return std::any_of(browsers.begin(), browsers.end(),
                       [&](QLatin1StringView id) { return isSame(applicationID, id); });
}

} // namespace Varnel
