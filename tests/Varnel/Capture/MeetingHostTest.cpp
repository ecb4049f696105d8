#include "Varnel/Capture/MeetingHost.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace Varnel {

namespace {

std::optional<QString> serviceOf(const QString& host) {
    return matchMeetingHost("https://" + host + "/abc-defg-hij?x=1#y");
}

} // namespace

TEST(MeetingHost, NamesTheServiceOfEachDomain) {
    EXPECT_EQ(serviceOf("meet.google.com"), "Google Meet");
    EXPECT_EQ(serviceOf("zoom.us"), "Zoom");
    EXPECT_EQ(serviceOf("zoom.com"), "Zoom");
    EXPECT_EQ(serviceOf("webex.com"), "Webex");
    EXPECT_EQ(serviceOf("teams.microsoft.com"), "Microsoft Teams");
    EXPECT_EQ(serviceOf("teams.live.com"), "Microsoft Teams");
    EXPECT_EQ(serviceOf("app.slack.com"), "Slack");
    EXPECT_EQ(serviceOf("discord.com"), "Discord");
    EXPECT_EQ(serviceOf("around.co"), "Around");
    EXPECT_EQ(serviceOf("whereby.com"), "Whereby");
    EXPECT_EQ(serviceOf("gather.town"), "Gather");
    EXPECT_EQ(serviceOf("riverside.fm"), "Riverside");
    EXPECT_EQ(serviceOf("meet.jit.si"), "Jitsi");
    EXPECT_EQ(serviceOf("tldv.io"), "tl;dv");
    EXPECT_EQ(serviceOf("fathom.video"), "Fathom");
}

TEST(MeetingHost, NamesTheServiceOfASubDomain) {
    EXPECT_EQ(serviceOf("eu.meet.google.com"), "Google Meet");
    EXPECT_EQ(serviceOf("us02web.zoom.us"), "Zoom");
    EXPECT_EQ(serviceOf("app.zoom.com"), "Zoom");
    EXPECT_EQ(serviceOf("acme.webex.com"), "Webex");
    EXPECT_EQ(serviceOf("gov.teams.microsoft.com"), "Microsoft Teams");
    EXPECT_EQ(serviceOf("acme.slack.com"), "Slack");
    EXPECT_EQ(serviceOf("canary.discord.com"), "Discord");
    EXPECT_EQ(serviceOf("app.around.co"), "Around");
    EXPECT_EQ(serviceOf("acme.whereby.com"), "Whereby");
    EXPECT_EQ(serviceOf("app.gather.town"), "Gather");
    EXPECT_EQ(serviceOf("studio.riverside.fm"), "Riverside");
    EXPECT_EQ(serviceOf("beta.meet.jit.si"), "Jitsi");
    EXPECT_EQ(serviceOf("app.tldv.io"), "tl;dv");
    EXPECT_EQ(serviceOf("app.fathom.video"), "Fathom");
}

TEST(MeetingHost, ASuffixDomainNeedsNoDotBeforeIt) {
    EXPECT_EQ(serviceOf("notzoom.us"), "Zoom");
    EXPECT_EQ(serviceOf("notzoom.com"), "Zoom");
    EXPECT_EQ(serviceOf("mywebex.com"), "Webex");
    EXPECT_EQ(serviceOf("turnaround.co"), "Around");
    EXPECT_EQ(serviceOf("notwhereby.com"), "Whereby");
    EXPECT_EQ(serviceOf("togather.town"), "Gather");
    EXPECT_EQ(serviceOf("theriverside.fm"), "Riverside");
    EXPECT_EQ(serviceOf("notmeet.jit.si"), "Jitsi");
    EXPECT_EQ(serviceOf("myfathom.video"), "Fathom");
}

TEST(MeetingHost, TheOtherDomainsNeedTheDot) {
    EXPECT_EQ(serviceOf("notmeet.google.com"), std::nullopt);
    EXPECT_EQ(serviceOf("notteams.microsoft.com"), std::nullopt);
    EXPECT_EQ(serviceOf("notteams.live.com"), std::nullopt);
    EXPECT_EQ(serviceOf("notslack.com"), std::nullopt);
    EXPECT_EQ(serviceOf("notdiscord.com"), std::nullopt);
    EXPECT_EQ(serviceOf("nottldv.io"), std::nullopt);
}

TEST(MeetingHost, ADomainThatOnlyOneTestCoversFailsTheOther) {
    EXPECT_EQ(serviceOf("slack.com"), std::nullopt) << "sub-domains alone count";
    EXPECT_EQ(serviceOf("eu.teams.live.com"), std::nullopt) << "the domain alone counts";
}

TEST(MeetingHost, AHostThatGoesOnWithAnotherDomainIsNone) {
    EXPECT_EQ(serviceOf("meet.google.com.example.org"), std::nullopt);
    EXPECT_EQ(serviceOf("zoom.us.example.org"), std::nullopt);
    EXPECT_EQ(serviceOf("discord.community"), std::nullopt);
}

TEST(MeetingHost, OtherPagesAreNone) {
    EXPECT_EQ(matchMeetingHost("https://mail.google.com/mail/u/0/#inbox"), std::nullopt);
    EXPECT_EQ(matchMeetingHost("https://google.com/?q=meet.google.com"), std::nullopt);
    EXPECT_EQ(matchMeetingHost("https://example.org/zoom.us"), std::nullopt);
    EXPECT_EQ(matchMeetingHost("https://zoom.us@example.org/"), std::nullopt) << "a user name is no host";
}

TEST(MeetingHost, AnyPageOfAServiceCounts) {
    EXPECT_EQ(matchMeetingHost("https://zoom.us"), "Zoom");
    EXPECT_EQ(matchMeetingHost("https://zoom.us/pricing"), "Zoom");
    EXPECT_EQ(matchMeetingHost("http://user@zoom.us:8080/"), "Zoom");
}

TEST(MeetingHost, AnUpperCasedHostIsMatched) {
    EXPECT_EQ(matchMeetingHost("https://MEET.GOOGLE.COM/abc-defg-hij"), "Google Meet");
    EXPECT_EQ(matchMeetingHost("HTTPS://Acme.Slack.Com/"), "Slack");
}

TEST(MeetingHost, WhatIsNoAddressOrHasNoHostIsNone) {
    for (const char* address : {"", " ", "zoom.us", "meet.google.com/abc", "about:blank", "file:///zoom.us", "https://",
                                "https:///zoom.us", "https://[zoom.us/", "https://zoom.us:port/", "://zoom.us"})
        EXPECT_EQ(matchMeetingHost(address), std::nullopt) << address;
}

TEST(MeetingHost, SurvivesAnyText) {
    EXPECT_TRUE(rc::check("whatever the browser says is an address", [] {
        const auto text = *rc::gen::arbitrary<std::vector<char16_t>>();
        const QString address(reinterpret_cast<const QChar*>(text.data()), static_cast<qsizetype>(text.size()));
        RC_ASSERT(!matchMeetingHost(address) || address.contains(u':'));
        matchMeetingHost("https://" + address);
    }));
}

TEST(MeetingHost, LetterCaseOfTheHostDoesNotCount) {
    EXPECT_TRUE(rc::check("an upper-cased host gives the same", [] {
        const auto before = *rc::gen::container<std::string>(rc::gen::elementOf(std::string("abcxyz019.-")));
        const auto domain = *rc::gen::element<std::string>("meet.google.com", "zoom.us", "slack.com", "discord.com",
                                                           "teams.live.com", "fathom.video", "example.org");
        const auto after = *rc::gen::element<std::string>("", ".", ".example.org", "x");
        const QString host = QString::fromStdString(before + domain + after);
        RC_ASSERT(serviceOf(host.toUpper()) == serviceOf(host));
    }));
}

} // namespace Varnel
