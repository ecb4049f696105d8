#include "Varnel/CommandLine/NearMatches.h"

#include <gtest/gtest.h>

#include <string>

namespace Varnel::CommandLine {
namespace {

QStringList near(const char* name) {
    return nearMatches(QString::fromUtf8(name),
                       {QStringLiteral("aiEnabled"), QStringLiteral("aiModel"), QStringLiteral("aiBaseURL"),
                        QStringLiteral("appearance"), QStringLiteral("aiProvider"), QStringLiteral("language")});
}

TEST(NearMatches, FindTyposAndWrongCase) {
    EXPECT_EQ(near("apearance"), QStringList{QStringLiteral("appearance")});
    EXPECT_EQ(near("AIENABLED"), QStringList{QStringLiteral("aiEnabled")});
    EXPECT_EQ(near("aimodle"), QStringList{QStringLiteral("aiModel")});
}

TEST(NearMatches, FindNamesThatBeginSo) {
    EXPECT_EQ(near("lang"), QStringList{QStringLiteral("language")});
    EXPECT_EQ(near("ai").size(), 3) << "at most three";
}

TEST(NearMatches, AreNoneForSomethingElse) {
    EXPECT_EQ(near("volume"), QStringList());
    EXPECT_EQ(near(""), QStringList());
    EXPECT_EQ(near(std::string(100'000, 'a').c_str()), QStringList());
}

} // namespace
} // namespace Varnel::CommandLine
