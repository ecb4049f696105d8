#include "VarnelSpeech/Shared/PrintableText.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

using VarnelSpeech::printable;

TEST(PrintableText, LeavesOrdinaryNamesAlone) {
    EXPECT_EQ(printable("/home/ada/Meeting 3 (final).wav"), "/home/ada/Meeting 3 (final).wav");
    EXPECT_EQ(printable("Käsekuchen – 会議 🎙.m4a"), "Käsekuchen – 会議 🎙.m4a");
    EXPECT_EQ(printable(""), "");
}

TEST(PrintableText, EscapesQuotesAndBackslashes) {
    EXPECT_EQ(printable("it's \"here\"\\.wav"), "it\\'s \"here\"\\\\.wav");
}

TEST(PrintableText, KeepsALineALine) {
    EXPECT_EQ(printable("a\nb\tc\rd"), "a\\nb\\tc\\rd");
    EXPECT_EQ(printable("\x1b[31mred\x7f"), "\\x1B[31mred\\x7F");
    EXPECT_EQ(printable("a\u0085b\u2028c\u2029d"), "a\\xC2\\x85b\\xE2\\x80\\xA8c\\xE2\\x80\\xA9d");
}

TEST(PrintableText, EscapesWhatIsNotUtf8) {
    EXPECT_EQ(printable("caf\xe9.wav"), "caf\\xE9.wav");
    EXPECT_EQ(printable("\xc0\xaf"), "\\xC0\\xAF") << "overlong";
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xED\\xA0\\x80") << "a surrogate";
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond the last code point";
    EXPECT_EQ(printable("\xe2\x82"), "\\xE2\\x82") << "cut off";
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(PrintableText, LeavesNothingToEscapeButItsOwnMarks) {
    EXPECT_TRUE(rc::check([](const std::string& text) {
        const std::string result = printable(text);
        std::string marksEscaped;
        for (const char byte : result) {
            if (byte == '\'' || byte == '\\')
                marksEscaped += '\\';
            marksEscaped += byte;
        }
        RC_ASSERT(printable(result) == marksEscaped);
    }));
}
