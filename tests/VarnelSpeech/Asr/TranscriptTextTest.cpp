#include "VarnelSpeech/Asr/TranscriptText.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

TEST(TranscriptText, JoinsPiecesWithBlanksForWordBoundaries) {
    const Vocabulary vocabulary{{1, "▁hel"}, {2, "lo"}, {3, "▁world"}, {4, "."}};
    EXPECT_EQ(transcriptText({1, 2, 3, 4}, vocabulary), "hello world.");
}

TEST(TranscriptText, UnknownIdsAndEmptyEntriesContributeNothing) {
    const Vocabulary vocabulary{{1, "▁a"}, {2, ""}};
    EXPECT_EQ(transcriptText({9, 1, 2, -1, 1}, vocabulary), "a a");
    EXPECT_EQ(transcriptText({}, vocabulary), "");
    EXPECT_EQ(transcriptText({9}, vocabulary), "");
}

TEST(TranscriptText, BlanksAndTabsGoAtTheEndsAndLineEndsStay) {
    const Vocabulary vocabulary{{1, "▁\t\nx"}, {2, "y\n\t▁"}, {3, "▁▁"}};
    EXPECT_EQ(transcriptText({1, 2}, vocabulary), "\nxy\n");
    EXPECT_EQ(transcriptText({3, 3}, vocabulary), "");
}

TEST(TranscriptText, APieceMayHoldSeveralMarksAnywhere) {
    EXPECT_EQ(withBlanks("▁a▁▁b▁"), " a  b ");
    EXPECT_EQ(withBlanks("größe"), "größe");
    EXPECT_EQ(withBlanks("\xE2\x96"), "\xE2\x96"); // the beginning of a mark is none
}

TEST(TranscriptText, AMarkCutIntoTwoPiecesIsOne) {
    const Vocabulary vocabulary{{1, "a\xE2\x96"},
                                {2, "\x81"
                                    "b"}};
    EXPECT_EQ(transcriptText({1, 2}, vocabulary), "a b");
}

TEST(TranscriptText, TimedTokensKeepTheirBlanks) {
    const Vocabulary vocabulary{{1, "▁the"}, {2, ""}};
    EXPECT_EQ(timedTokenText(1, vocabulary), " the");
    EXPECT_EQ(timedTokenText(2, vocabulary), "");
    EXPECT_EQ(timedTokenText(77, vocabulary), "token_77");
    EXPECT_EQ(timedTokenText(-3, vocabulary), "token_-3");
}

TEST(TranscriptText, BlankTextIsUnicodeWhiteSpace) {
    EXPECT_TRUE(isBlank(""));
    EXPECT_TRUE(isBlank(" \t\r\n\v\f"));
    EXPECT_TRUE(isBlank("\u0085\u00A0\u1680\u2000\u2005\u200A\u2028\u2029\u202F\u205F\u3000"));
    EXPECT_FALSE(isBlank("\u00A0.\u3000"));
    EXPECT_FALSE(isBlank("\u200B")); // a zero-width space is none
    EXPECT_FALSE(isBlank("\xE2\x80"));
}

} // namespace
} // namespace VarnelSpeech
