#include "VarnelSpeech/Asr/TokenAlignment.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

using Matches = std::vector<TokenMatch>;

std::vector<IndexedToken> overlap(const std::vector<std::pair<int, double>>& idsAndStarts) {
    std::vector<IndexedToken> tokens;
    for (const auto& [id, start] : idsAndStarts) {
        tokens.push_back({tokens.size(), {id, 0, 0.0F}, start, start + 0.08});
    }
    return tokens;
}

TEST(TokenAlignment, ThreeEqualTokensAreOneRun) {
    const auto left = overlap({{1, 10.0}, {2, 10.1}, {3, 10.2}});
    const auto right = overlap({{1, 10.04}, {2, 10.16}, {3, 10.24}});
    EXPECT_EQ(findBestContiguousRun(left, right, 1.0), (Matches{{0, 0}, {1, 1}, {2, 2}}));
}

TEST(TokenAlignment, TheFirstOfEquallyLongRunsStays) {
    const auto left = overlap({{1, 0.0}, {2, 0.1}, {9, 0.2}, {3, 0.3}, {4, 0.4}});
    const auto right = overlap({{3, 0.0}, {4, 0.1}, {8, 0.2}, {1, 0.3}, {2, 0.4}});
    EXPECT_EQ(findBestContiguousRun(left, right, 1.0), (Matches{{0, 3}, {1, 4}}));
}

TEST(TokenAlignment, WithinOneLeftStartTheFirstRightStartStays) {
    const auto left = overlap({{1, 0.0}, {2, 0.1}});
    const auto right = overlap({{1, 0.0}, {2, 0.1}, {1, 0.2}, {2, 0.3}});
    EXPECT_EQ(findBestContiguousRun(left, right, 1.0), (Matches{{0, 0}, {1, 1}}));
}

TEST(TokenAlignment, ALongerRunWinsOverAnEarlierOne) {
    const auto left = overlap({{1, 0.0}, {2, 0.1}, {9, 0.2}, {3, 0.3}, {4, 0.4}, {5, 0.5}});
    const auto right = overlap({{1, 0.0}, {2, 0.1}, {8, 0.2}, {3, 0.3}, {4, 0.4}, {5, 0.5}});
    EXPECT_EQ(findBestContiguousRun(left, right, 1.0), (Matches{{3, 3}, {4, 4}, {5, 5}}));
}

TEST(TokenAlignment, StartsATolerancesLengthApartDoNotMatch) {
    const auto left = overlap({{1, 0.0}});
    EXPECT_TRUE(findBestContiguousRun(left, overlap({{1, 1.0}}), 1.0).empty());
    EXPECT_TRUE(findLongestCommonSubsequence(left, overlap({{1, 1.0}}), 1.0).empty());
    EXPECT_EQ(findBestContiguousRun(left, overlap({{1, 0.99}}), 1.0).size(), 1U);
}

TEST(TokenAlignment, NothingInCommonIsNoRunAndNoSubsequence) {
    const auto left = overlap({{1, 0.0}, {2, 0.1}});
    const auto right = overlap({{3, 0.0}, {4, 0.1}});
    EXPECT_TRUE(findBestContiguousRun(left, right, 1.0).empty());
    EXPECT_TRUE(findLongestCommonSubsequence(left, right, 1.0).empty());
    EXPECT_TRUE(findBestContiguousRun({}, right, 1.0).empty());
    EXPECT_TRUE(findLongestCommonSubsequence(left, {}, 1.0).empty());
}

TEST(TokenAlignment, TheSubsequenceStepsOverWhatDiffers) {
    const auto left = overlap({{1, 0.0}, {7, 0.1}, {2, 0.2}, {3, 0.3}});
    const auto right = overlap({{1, 0.0}, {2, 0.2}, {8, 0.25}, {3, 0.3}});
    EXPECT_EQ(findLongestCommonSubsequence(left, right, 1.0), (Matches{{0, 0}, {2, 1}, {3, 3}}));
}

TEST(TokenAlignment, OnATieTheSubsequenceStepsBackInTheRight) {
    // 1 2 against 2 1: tracing back from the end, cells tie, so that the right gives way first and 2 is found.
    const auto left = overlap({{1, 0.0}, {2, 0.1}});
    const auto right = overlap({{2, 0.0}, {1, 0.1}});
    EXPECT_EQ(findLongestCommonSubsequence(left, right, 1.0), (Matches{{1, 0}}));
}

} // namespace
} // namespace VarnelSpeech
