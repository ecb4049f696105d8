#include "Varnel/CommandLine/ErrorLine.h"

#include "rapidcheck.h"

#include <QString>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace Varnel::CommandLine {
namespace {

TEST(ErrorLine, IsTheProgramsNameAndOneLine) {
    EXPECT_EQ(errorLine("cannot read 'x.wav': not an audio file"), "varnel: cannot read 'x.wav': not an audio file\n");
    EXPECT_EQ(errorLine("two\nlines\n"), "varnel: two\\nlines\n");
}

TEST(ErrorLine, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(singleLine("a\tb\rc\x1b[31m\x7f"), "a\\tb\\rc\\x1B[31m\\x7F");
    EXPECT_EQ(singleLine("\xc2\x85 next line"), "\\u0085 next line");
    EXPECT_EQ(singleLine("\xe2\x80\xa8|\xe2\x80\xae|\xe2\x81\xa6"), "\\u2028|\\u202E|\\u2066");
    EXPECT_EQ(singleLine(std::string("nul\0!", 5)), "nul\\x00!");
}

TEST(ErrorLine, EscapesBytesThatAreNotUtf8) {
    EXPECT_EQ(singleLine("\xff\xfe"), "\\xFF\\xFE");
    EXPECT_EQ(singleLine("caf\xc3"), "caf\\xC3");
    EXPECT_EQ(singleLine("\xc0\xaf"), "\\xC0\\xAF") << "overlong";
    EXPECT_EQ(singleLine("\xed\xa0\x80"), "\\xED\\xA0\\x80") << "a surrogate";
    EXPECT_EQ(singleLine("\xf4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "past the last character";
}

TEST(ErrorLine, LeavesTextOfEveryScriptAlone) {
    const std::string text = "Grüße, 你好, שלום, 😀 — it's fine";
    EXPECT_EQ(singleLine(text), text);
}

TEST(ErrorLine, IsAlwaysOneLineOfUtf8) {
    EXPECT_TRUE(rc::check([](const std::string& bytes) {
        const std::string line = errorLine(bytes);
        RC_ASSERT(std::count(line.begin(), line.end(), '\n') == 1);
        RC_ASSERT(line.back() == '\n');
        RC_ASSERT(QString::fromUtf8(line.c_str()).toStdString() == line);
    }));
}

TEST(ErrorLine, QuotesNames) {
    EXPECT_EQ(inQuotes("it's\na \xff.wav"), "'it\\'s\\na \\xFF.wav'");
}

TEST(ErrorLine, TellsOfMissingMemoryInWords) {
    EXPECT_EQ(describe(std::bad_alloc()), "there is not enough memory");
    EXPECT_EQ(describe(std::runtime_error("as it is")), "as it is");
}

} // namespace
} // namespace Varnel::CommandLine
