#include "Varnel/Refinement/DateText.h"

#include "support/EnvironmentScope.h"

#include <QTimeZone>

#include <gtest/gtest.h>

namespace Varnel {
namespace {

using VarnelSpeech::Testing::EnvironmentScope;

const QDateTime afternoon(QDate(2026, 3, 5), QTime(13, 4, 59), Qt::UTC);

std::string localeOf(const char* all, const char* time, const char* language) {
    EnvironmentScope environment;
    environment.set("LC_ALL", all);
    environment.set("LC_TIME", time);
    environment.set("LANG", language);
    return dateLocale();
}

QString textIn(const char* locale, const char* zone) {
    EnvironmentScope environment;
    environment.set("LC_ALL", locale);
    environment.set("TZ", zone);
    return dateText(afternoon);
}

TEST(DateText, TheFirstVariableThatIsSetChoosesTheLocale) {
    EXPECT_EQ(localeOf("de_DE.UTF-8", "fr_FR", "it_IT"), "de_DE");
    EXPECT_EQ(localeOf("", "fr_FR.utf8", "it_IT"), "fr_FR");
    EXPECT_EQ(localeOf("", "", "it_IT@euro"), "it_IT");
    EXPECT_EQ(localeOf("", "", ""), "en_US");
}

TEST(DateText, TheLocalesWithoutALanguageAreAmericanEnglish) {
    EXPECT_EQ(localeOf("C", "de_DE", ""), "en_US");
    EXPECT_EQ(localeOf("C.UTF-8", "", ""), "en_US");
    EXPECT_EQ(localeOf("", "", "POSIX"), "en_US");
}

TEST(DateText, AModifierMayChooseTheScript) {
    EXPECT_EQ(localeOf("sr_RS.UTF-8@latin", "", ""), "sr_Latn_RS");
    EXPECT_EQ(localeOf("uz@cyrillic", "", ""), "uz_Cyrl");
}

TEST(DateText, IsAMediumDateAndAShortTimeWithPlainBlanks) {
    EXPECT_EQ(textIn("C", "UTC"), QStringLiteral("Mar 5, 2026, 1:04 PM"));
    EXPECT_EQ(textIn("de_DE.UTF-8", "UTC"), QStringLiteral("05.03.2026, 13:04"));
}

TEST(DateText, FollowsTheTimeZoneOfTheEnvironment) {
    EXPECT_EQ(textIn("C", "America/New_York"), QStringLiteral("Mar 5, 2026, 8:04 AM"));
    EXPECT_EQ(textIn("C", "Asia/Tokyo"), QStringLiteral("Mar 5, 2026, 10:04 PM"));
}

TEST(DateText, ALocaleThatNobodyKnowsStillGivesADate) {
    EXPECT_TRUE(textIn("xx_YY", "UTC").contains(QStringLiteral("2026")));
}

TEST(DateText, NoDateIsNoText) {
    EXPECT_EQ(dateText(QDateTime()), QString());
}

} // namespace
} // namespace Varnel
