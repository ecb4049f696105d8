#include "Varnel/Capture/MeetingHost.h"

#include <QLatin1StringView>
#include <QUrl>

#include <algorithm>
#include <array>

namespace Varnel {

namespace {

enum class HostTest {
    exact,
    subDomain, // ends with a dot and the domain
    suffix,    // ends with the domain, whatever stands before it
};

struct HostRule {
    QLatin1StringView domain;
    HostTest test;
    QLatin1StringView name;
};

constexpr std::array hostRules{
    HostRule{QLatin1StringView("meet.google.com"), HostTest::exact, QLatin1StringView("Google Meet")},
    HostRule{QLatin1StringView("meet.google.com"), HostTest::subDomain, QLatin1StringView("Google Meet")},
    HostRule{QLatin1StringView("zoom.us"), HostTest::suffix, QLatin1StringView("Zoom")},
    HostRule{QLatin1StringView("zoom.com"), HostTest::suffix, QLatin1StringView("Zoom")},
    HostRule{QLatin1StringView("webex.com"), HostTest::suffix, QLatin1StringView("Webex")},
    HostRule{QLatin1StringView("teams.microsoft.com"), HostTest::exact, QLatin1StringView("Microsoft Teams")},
    HostRule{QLatin1StringView("teams.live.com"), HostTest::exact, QLatin1StringView("Microsoft Teams")},
    HostRule{QLatin1StringView("teams.microsoft.com"), HostTest::subDomain, QLatin1StringView("Microsoft Teams")},
    HostRule{QLatin1StringView("app.slack.com"), HostTest::exact, QLatin1StringView("Slack")},
    HostRule{QLatin1StringView("slack.com"), HostTest::subDomain, QLatin1StringView("Slack")},
    HostRule{QLatin1StringView("discord.com"), HostTest::exact, QLatin1StringView("Discord")},
    HostRule{QLatin1StringView("discord.com"), HostTest::subDomain, QLatin1StringView("Discord")},
    HostRule{QLatin1StringView("around.co"), HostTest::suffix, QLatin1StringView("Around")},
    HostRule{QLatin1StringView("whereby.com"), HostTest::suffix, QLatin1StringView("Whereby")},
    HostRule{QLatin1StringView("gather.town"), HostTest::suffix, QLatin1StringView("Gather")},
    HostRule{QLatin1StringView("riverside.fm"), HostTest::suffix, QLatin1StringView("Riverside")},
    HostRule{QLatin1StringView("meet.jit.si"), HostTest::suffix, QLatin1StringView("Jitsi")},
    HostRule{QLatin1StringView("tldv.io"), HostTest::exact, QLatin1StringView("tl;dv")},
    HostRule{QLatin1StringView("tldv.io"), HostTest::subDomain, QLatin1StringView("tl;dv")},
    HostRule{QLatin1StringView("fathom.video"), HostTest::suffix, QLatin1StringView("Fathom")},
};

bool passes(const QString& host, const HostRule& rule) {
    switch (rule.test) {
    case HostTest::exact:
        return host == rule.domain;
    case HostTest::subDomain:
        return host.endsWith(u'.' + QString(rule.domain));
    case HostTest::suffix:
        return host.endsWith(rule.domain);
    }
    return false;
}

} // namespace

std::optional<QString> matchMeetingHost(const QString& address) {
    const QUrl url(address);
    if (!url.isValid())
        return std::nullopt;
    const QString host = url.host().toLower();
    if (host.isEmpty())
        return std::nullopt;
    const auto* const rule =
        std::find_if(hostRules.begin(), hostRules.end(), [&](const HostRule& each) { return passes(host, each); });
    if (rule == hostRules.end())
        return std::nullopt;
    return QString(rule->name);
}

} // namespace Varnel
