#include "Varnel/Capture/MeetingApps.h"

#include <gtest/gtest.h>

namespace Varnel {

TEST(MeetingApps, WindowClassesAndDesktopIdsHaveNames) {
    EXPECT_EQ(meetingAppName("zoom"), "Zoom");
    EXPECT_EQ(meetingAppName("teams-for-linux"), "Microsoft Teams");
    EXPECT_EQ(meetingAppName("microsoft teams"), "Microsoft Teams");
    EXPECT_EQ(meetingAppName("slack"), "Slack");
    EXPECT_EQ(meetingAppName("discord"), "Discord");
    EXPECT_EQ(meetingAppName("webex"), "Webex");
    EXPECT_EQ(meetingAppName("ciscocollabhost"), "Webex");
}

TEST(MeetingApps, BundleIdsHaveNames) {
    EXPECT_EQ(meetingAppName("us.zoom.xos"), "Zoom");
    EXPECT_EQ(meetingAppName("com.microsoft.teams2"), "Microsoft Teams");
    EXPECT_EQ(meetingAppName("com.microsoft.teams"), "Microsoft Teams");
    EXPECT_EQ(meetingAppName("com.tinyspeck.slackmacgap"), "Slack");
    EXPECT_EQ(meetingAppName("com.hnc.Discord"), "Discord");
    EXPECT_EQ(meetingAppName("com.cisco.webexmeetingsapp"), "Webex");
    EXPECT_EQ(meetingAppName("com.webex.meetingmanager"), "Webex");
}

TEST(MeetingApps, LetterCaseDoesNotCount) {
    EXPECT_EQ(meetingAppName("com.hnc.discord"), "Discord");
    EXPECT_EQ(meetingAppName("Microsoft Teams"), "Microsoft Teams");
    EXPECT_TRUE(isKnownBrowser("com.google.chrome"));
    EXPECT_TRUE(isKnownBrowser("Google-chrome"));
}

TEST(MeetingApps, KnowsTheBrowsers) {
    for (const char* id :
         {"google-chrome", "chromium", "firefox", "firefox-esr", "brave-browser", "microsoft-edge", "vivaldi-stable",
          "opera", "com.google.Chrome", "com.google.Chrome.canary", "com.apple.Safari",
          "com.apple.SafariTechnologyPreview", "com.brave.Browser", "com.brave.Browser.beta", "com.microsoft.edgemac",
          "company.thebrowser.Browser", "company.thebrowser.dia", "com.vivaldi.Vivaldi", "com.operasoftware.Opera"}) {
        EXPECT_TRUE(isKnownBrowser(id)) << id;
        EXPECT_EQ(meetingAppName(id), std::nullopt) << id;
    }
}

TEST(MeetingApps, AnythingElseIsNeither) {
    for (const char* id : {"", "zoom2", "zoo", "us.zoom", "com.apple.finder", "org.gnome.nautilus", "firefox-bin2"}) {
        EXPECT_EQ(meetingAppName(id), std::nullopt) << id;
        EXPECT_FALSE(isKnownBrowser(id)) << id;
    }
    EXPECT_FALSE(isKnownBrowser("zoom"));
}

} // namespace Varnel
