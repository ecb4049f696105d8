#include "VarnelSpeech/Asr/ChunkMerger.h"

#include "VarnelSpeech/Asr/ReferenceMerge.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Tokens = std::vector<TokenWindow>;

constexpr double overlapSeconds = 2.0;
constexpr int sampleRate = 16000;
constexpr float leftConfidence = 0.25F;
constexpr float rightConfidence = 0.75F;

// Tokens of one confidence, so that the two copies of a token can be told apart.
Tokens tokens(const std::vector<std::pair<int, int>>& idsAndFrames, float confidence) {
    Tokens result;
    for (const auto& [id, frame] : idsAndFrames) {
        result.push_back({id, frame, confidence});
    }
    return result;
}

Tokens left(const std::vector<std::pair<int, int>>& idsAndFrames) {
    return tokens(idsAndFrames, leftConfidence);
}

Tokens right(const std::vector<std::pair<int, int>>& idsAndFrames) {
    return tokens(idsAndFrames, rightConfidence);
}

Tokens merged(const std::vector<Tokens>& windows) {
    ChunkMerger merger(overlapSeconds, sampleRate);
    for (const Tokens& window : windows) {
        merger.mergeChunks(window);
    }
    return merger.tokens();
}

std::vector<int> ids(const Tokens& list) {
    std::vector<int> result;
    for (const TokenWindow& token : list) {
        result.push_back(token.token);
    }
    return result;
}

TEST(ChunkMerger, AnEmptySideGivesTheOther) {
    const Tokens some = left({{1, 10}, {2, 12}});
    EXPECT_EQ(merged({{}, some}), some);
    EXPECT_EQ(merged({some, {}}), some);
    EXPECT_EQ(merged({{}, {}}), Tokens{});
    EXPECT_EQ(merged({}), Tokens{});
}

TEST(ChunkMerger, ListsThatDoNotOverlapAreConcatenatedWithoutSearch) {
    // The left ends at 10.0 s, the right begins at 10.0 s; equal ids are no reason to drop any.
    const Tokens a = left({{1, 120}, {2, 124}});
    const Tokens b = right({{1, 125}, {2, 126}});
    EXPECT_EQ(ids(merged({a, b})), (std::vector<int>{1, 2, 1, 2}));
}

TEST(ChunkMerger, TheLeftCopiesOfACommonRunStay) {
    const Tokens a = left({{1, 125}, {2, 126}, {3, 127}});
    const Tokens b = right({{1, 126}, {2, 127}, {3, 128}});
    EXPECT_EQ(merged({a, b}), a);
}

TEST(ChunkMerger, KeepsWhatTheLeftHasBeforeAndTheRightAfterARun) {
    const Tokens a = left({{7, 100}, {8, 110}, {1, 125}, {2, 126}, {9, 127}});
    const Tokens b = right({{5, 124}, {1, 125}, {2, 126}, {4, 140}});
    Tokens expected = left({{7, 100}, {8, 110}, {1, 125}, {2, 126}});
    expected.push_back({4, 140, rightConfidence});
    // 9 comes after the last match of the left, 5 before the first of the right: both go.
    EXPECT_EQ(merged({a, b}), expected);
}

TEST(ChunkMerger, BetweenMatchesTheLongerGapStays) {
    const Tokens a = left({{1, 120}, {2, 122}, {50, 124}, {3, 126}, {60, 127}, {4, 128}});
    const Tokens b = right({{1, 120}, {2, 122}, {51, 123}, {52, 124}, {3, 126}, {61, 127}, {4, 128}});
    // Between 2 and 3 the right has more, between 3 and 4 both have one: then the left's stays.
    const Tokens result = merged({a, b});
    EXPECT_EQ(ids(result), (std::vector<int>{1, 2, 51, 52, 3, 60, 4}));
    EXPECT_EQ(result[2].confidence, rightConfidence);
    EXPECT_EQ(result[4].confidence, leftConfidence);
}

TEST(ChunkMerger, MatchesLieLessThanASecondApart) {
    // 12 frames are 0.96 s, 13 are 1.04 s.
    EXPECT_EQ(ids(merged({left({{1, 120}, {2, 121}}), right({{1, 108}, {2, 109}, {3, 121}})})),
              (std::vector<int>{1, 2, 3}));
    // No match: the middle between 9.76 s and 8.56 s is 9.16 s.
    EXPECT_EQ(ids(merged({left({{1, 120}, {2, 121}}), right({{1, 107}, {2, 108}, {3, 121}})})), std::vector<int>{3});
}

TEST(ChunkMerger, ARunOfHalfTheOverlapIsEnough) {
    // Six tokens of the left in the overlap: a run of three wins over the longer subsequence 1 3 4 5.
    const Tokens a = left({{1, 120}, {2, 121}, {3, 122}, {4, 123}, {5, 124}, {6, 125}});
    const Tokens b = right({{1, 120}, {9, 121}, {3, 122}, {4, 123}, {5, 124}, {7, 126}});
    const Tokens result = merged({a, b});
    EXPECT_EQ(ids(result), (std::vector<int>{1, 2, 3, 4, 5, 7}));
    // A run of two of six is not: the subsequence 1 2 5 6 keeps the right's two tokens between 2 and 5.
    const Tokens c = right({{1, 120}, {2, 121}, {8, 122}, {8, 122}, {8, 123}, {5, 124}, {6, 125}, {7, 126}});
    EXPECT_EQ(ids(merged({a, c})), (std::vector<int>{1, 2, 8, 8, 8, 5, 6, 7}));
}

TEST(ChunkMerger, WithoutAMatchTheListsMeetInTheMiddle) {
    // End 128 · 0.08 = 10.24 s, start 120 · 0.08 = 9.6 s: the cutoff is 9.92 s, frame 124.
    const Tokens a = left({{1, 118}, {2, 123}, {3, 127}});
    const Tokens b = right({{11, 120}, {12, 125}, {13, 130}});
    EXPECT_EQ(ids(merged({a, b})), (std::vector<int>{1, 2, 12, 13}));
}

TEST(ChunkMerger, ATokenExactlyAtTheMiddleStaysFromBoth) {
    // The left ends at (3 + 1) · 0.08, the right begins at 0: the cutoff is 2 · 0.08.
    const Tokens a = left({{1, 0}, {2, 2}, {3, 3}});
    const Tokens b = right({{11, 0}, {12, 2}, {13, 3}});
    EXPECT_EQ(ids(merged({a, b})), (std::vector<int>{1, 2, 12, 13}));
}

TEST(ChunkMerger, OneTokenInAnOverlapIsMergedInTheMiddle) {
    const Tokens a = left({{1, 0}, {2, 125}});
    const Tokens b = right({{2, 125}, {3, 130}, {4, 131}});
    // Only one token of the left is near: the equal ids are not looked at. The cutoff is 10.04 s, between 125 and 126.
    EXPECT_EQ(ids(merged({a, b})), (std::vector<int>{1, 2, 3, 4}));
}

TEST(ChunkMerger, TheOverlapReachesTwoSecondsBeyondTheMeetingPoint) {
    // The right begins at 10.0 s. A left token with end 8.08 s is inside, one with end 8.0 s is not.
    const Tokens inside = left({{1, 100}, {2, 125}});
    const Tokens outside = left({{1, 99}, {2, 125}});
    const Tokens b = right({{5, 125}, {2, 126}, {6, 127}});
    EXPECT_EQ(ids(merged({inside, b})), (std::vector<int>{1, 2, 6}));     // aligned at 2
    EXPECT_EQ(ids(merged({outside, b})), (std::vector<int>{1, 2, 2, 6})); // one token in the overlap: the middle
}

TEST(ChunkMerger, SortsInTheEndAndKeepsTheOrderWithinAFrame) {
    ChunkMerger merger(overlapSeconds, sampleRate);
    merger.mergeChunks(left({{1, 5}, {2, 3}, {3, 5}, {4, 3}}));
    EXPECT_EQ(ids(merger.sortedTokens()), (std::vector<int>{2, 4, 1, 3}));
}

// A list of tokens from few ids, around a time, in order or not.
Tokens arbitraryTokens(int center, bool isSorted, float confidence) {
    const auto size = *rc::gen::inRange(0, 25);
    Tokens list;
    for (int index = 0; index < size; ++index) {
        list.push_back({*rc::gen::inRange(0, 4), center + *rc::gen::inRange(-40, 40), confidence});
    }
    if (isSorted) {
        std::stable_sort(list.begin(), list.end(), [](const TokenWindow& first, const TokenWindow& second) {
            return first.timestamp < second.timestamp;
        });
    }
    return list;
}

TEST(ChunkMerger, MergesAnyListsAsThePlainSteps) {
    EXPECT_TRUE(rc::check("any windows, in order or not", [] {
        const int count = *rc::gen::inRange(2, 9);
        const int stride = *rc::gen::element(5, 20, 60, 162);
        const bool isSorted = *rc::gen::arbitrary<bool>();
        ChunkMerger merger(overlapSeconds, sampleRate);
        Tokens expected;
        for (int window = 0; window < count; ++window) {
            const Tokens list = arbitraryTokens(window * stride, isSorted, static_cast<float>(window));
            merger.mergeChunks(list);
            expected = window == 0 ? list : referenceMerge(expected, list);
            RC_ASSERT(merger.tokens() == expected);
        }
        std::stable_sort(expected.begin(), expected.end(), [](const TokenWindow& first, const TokenWindow& second) {
            return first.timestamp < second.timestamp;
        });
        RC_ASSERT(merger.sortedTokens() == expected);
    }));
}

TEST(ChunkMerger, MergesSpeechHeardTwiceAsThePlainSteps) {
    EXPECT_TRUE(rc::check("the same words with shifts, losses and mistakes", [] {
        Tokens expected;
        ChunkMerger merger(overlapSeconds, sampleRate);
        for (int window = 0; window < 5; ++window) {
            Tokens list;
            for (int frame = window * 162; frame < window * 162 + 187; frame += 3) {
                const int fate = *rc::gen::inRange(0, 12);
                if (fate == 0) {
                    continue;
                }
                const int id = fate == 1 ? *rc::gen::inRange(100, 110) : frame % 50;
                list.push_back({id, frame + *rc::gen::inRange(-1, 2), static_cast<float>(window)});
            }
            merger.mergeChunks(list);
            expected = window == 0 ? list : referenceMerge(expected, list);
        }
        RC_ASSERT(merger.tokens() == expected);
    }));
}

} // namespace
} // namespace VarnelSpeech::Testing
