#include "Varnel/Capture/SuggestionNotification.h"

#include "Varnel/Models/Identifier.h"
#include "support/FakeNotifier.h"

#include <gtest/gtest.h>

namespace Varnel {

using Testing::FakeNotifier;

TEST(SuggestionNotification, SaysWhichApplicationUsesTheMicrophone) {
    FakeNotifier notifier;
    postSuggestion(notifier, "Microsoft Teams");
    ASSERT_EQ(notifier.posted.size(), 1U);
    EXPECT_EQ(notifier.posted[0].title, "Microsoft Teams is using your mic");
    EXPECT_EQ(notifier.posted[0].body, "Tap to start recording this meeting.");
}

TEST(SuggestionNotification, EachHasAnIdentifierOfItsOwn) {
    FakeNotifier notifier;
    postSuggestion(notifier, "Zoom");
    postSuggestion(notifier, "Zoom");
    ASSERT_EQ(notifier.posted.size(), 2U);
    EXPECT_NE(notifier.posted[0].identifier, notifier.posted[1].identifier);
    for (const Notification& notification : notifier.posted) {
        ASSERT_TRUE(notification.identifier.startsWith("suggest-"));
        const QString id = notification.identifier.mid(8);
        EXPECT_EQ(text(QUuid::fromString(id)), id);
        EXPECT_FALSE(QUuid::fromString(id).isNull());
    }
}

TEST(SuggestionNotification, IsNotPostedUnlessAllowed) {
    FakeNotifier notifier;
    for (const int status : {0, 1, 2, 4, 5}) {
        notifier.status = static_cast<AuthorizationStatus>(status);
        postSuggestion(notifier, "Zoom");
        EXPECT_TRUE(notifier.posted.empty()) << status;
    }
}

} // namespace Varnel
