#include "Varnel/CommandLine/TerminalColors.h"

#include "support/EnvironmentScope.h"

#include <gtest/gtest.h>

namespace Varnel::CommandLine {
namespace {

const QString pink = QStringLiteral("#EC4899");

TEST(Colored, IsTheTextInTheColorAndNothingAfterIt) {
    EXPECT_EQ(colored("Ada", pink, TerminalColors::full), "\x1b[38;2;236;72;153mAda\x1b[39m");
    EXPECT_EQ(colored("Ada", pink, TerminalColors::indexed), "\x1b[38;5;204mAda\x1b[39m");
    EXPECT_EQ(colored("Ada", QStringLiteral("#000000"), TerminalColors::indexed), "\x1b[38;5;16mAda\x1b[39m");
    EXPECT_EQ(colored("Ada", QStringLiteral("#FFFFFF"), TerminalColors::indexed), "\x1b[38;5;231mAda\x1b[39m");
}

TEST(Colored, IsPlainWithoutColors) {
    EXPECT_EQ(colored("Ada", pink, TerminalColors::none), "Ada");
}

TEST(Colored, IsPlainForWhatIsNoColor) {
    for (const char* wrong : {"", "#", "EC4899", "#EC489", "#EC48990", "#GG4899", "#-C4899", "# C4899", "\x1b[2J0000"})
        EXPECT_EQ(colored("Ada", QString::fromLatin1(wrong), TerminalColors::full), "Ada") << wrong;
}

TEST(TerminalColorsOfEnvironment, AreThoseOfTheTerminal) {
    VarnelSpeech::Testing::EnvironmentScope environment;
    environment.unset("NO_COLOR");
    environment.unset("COLORTERM");
    environment.set("TERM", "xterm-256color");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::indexed);
    environment.set("COLORTERM", "truecolor");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::full);
    environment.set("COLORTERM", "24bit");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::full);
    environment.set("TERM", "dumb");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::none);
    environment.unset("TERM");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::none);
}

TEST(TerminalColorsOfEnvironment, AreNoneForThoseWhoWantNone) {
    VarnelSpeech::Testing::EnvironmentScope environment;
    environment.set("TERM", "xterm");
    environment.set("COLORTERM", "truecolor");
    environment.set("NO_COLOR", "1");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::none);
    environment.set("NO_COLOR", "");
    EXPECT_EQ(terminalColorsOfEnvironment(), TerminalColors::full) << "an empty one counts as absent";
}

} // namespace
} // namespace Varnel::CommandLine
