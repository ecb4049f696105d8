#include "Varnel/Refinement/WordErrorRate.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace Varnel {

void PrintTo(const WordErrorRate& rate, std::ostream* stream) {
    *stream << rate.substitutions << " substituted, " << rate.deletions << " deleted, " << rate.insertions
            << " inserted of " << rate.referenceWords;
}

namespace {

WordErrorRate rate(const char* reference, const char* hypothesis) {
    return WordErrorRate::of(QString::fromUtf8(reference), QString::fromUtf8(hypothesis));
}

TEST(WordErrorRate, CountsEachKindOfError) {
    EXPECT_EQ(rate("the cat sat", "the cat sat"), (WordErrorRate{3, 3, 0, 0, 0}));
    EXPECT_EQ(rate("the cat sat", "the dog sat"), (WordErrorRate{3, 3, 1, 0, 0}));
    EXPECT_EQ(rate("the cat sat", "the sat"), (WordErrorRate{3, 2, 0, 1, 0}));
    EXPECT_EQ(rate("the cat sat", "the big cat sat down"), (WordErrorRate{3, 5, 0, 0, 2}));
    EXPECT_EQ(rate("a b c d e f", "x b d e f g"), (WordErrorRate{6, 6, 1, 1, 1}));
}

TEST(WordErrorRate, IsInPercentOfTheReferencesWords) {
    EXPECT_DOUBLE_EQ(rate("a b c d", "a b c x").percent(), 25.0);
    EXPECT_DOUBLE_EQ(rate("a", "b c d").percent(), 300.0);
}

TEST(WordErrorRate, HandlesAnEmptyReference) {
    EXPECT_DOUBLE_EQ(rate("", "").percent(), 0.0);
    EXPECT_DOUBLE_EQ(rate(" ... ", "two words").percent(), 100.0);
    EXPECT_EQ(rate("", "two words").insertions, 2U);
    EXPECT_DOUBLE_EQ(rate("two words", "").percent(), 100.0);
}

TEST(WordErrorRate, IgnoresCaseAndPunctuation) {
    EXPECT_EQ(rate("Good morning, everyone! It's 9 o'clock.", "good morning everyone it’s 9 O'Clock").errors(), 0U);
    EXPECT_EQ(rate("well-known", "well known").errors(), 0U);
}

TEST(WordErrorRate, KeepsApostrophesInsideWordsOnly) {
    EXPECT_EQ(wordsForScoring(QStringLiteral("'don't' dogs' 'n'")),
              (QStringList{QStringLiteral("don't"), QStringLiteral("dogs"), QStringLiteral("n")}));
    EXPECT_EQ(rate("its", "it's").errors(), 1U);
}

TEST(WordErrorRate, KnowsEveryScript) {
    EXPECT_EQ(rate("ÜBER Straße", "über straße").errors(), 0U);
    EXPECT_EQ(rate("ΛΌΓΟΣ", "λόγος").errors(), 0U) << "a final sigma";
    EXPECT_EQ(rate("cafe\xcc\x81", "caf\xc3\xa9").errors(), 0U) << "composed and not composed";
    EXPECT_EQ(wordsForScoring(QString::fromUtf8("नमस्ते दुनिया। 𝒳 ok")).size(), 4);
}

TEST(WordErrorRate, StandsBadText) {
    const QString lone(QChar(0xd800));
    EXPECT_EQ(WordErrorRate::of(lone + QStringLiteral(" a"), QStringLiteral("a")).deletions, 0U);
}

// Against the table of the definition, worked out in full.
TEST(WordErrorRate, IsTheLeastNumberOfErrors) {
    EXPECT_TRUE(rc::check([] {
        const auto word = rc::gen::element<QString>(QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"));
        const auto left = *rc::gen::container<std::vector<QString>>(word);
        const auto right = *rc::gen::container<std::vector<QString>>(word);
        std::vector<std::vector<std::size_t>> table(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
        for (std::size_t i = 0; i <= left.size(); ++i)
            for (std::size_t j = 0; j <= right.size(); ++j) {
                if (i == 0 || j == 0)
                    table[i][j] = i + j;
                else
                    table[i][j] = std::min({table[i - 1][j] + 1, table[i][j - 1] + 1,
                                            table[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1)});
            }
        const auto found =
            WordErrorRate::of(QStringList(left.begin(), left.end()), QStringList(right.begin(), right.end()));
        RC_ASSERT(found.errors() == table[left.size()][right.size()]);
        RC_ASSERT(found.referenceWords - found.deletions == found.hypothesisWords - found.insertions);
    }));
}

} // namespace
} // namespace Varnel
