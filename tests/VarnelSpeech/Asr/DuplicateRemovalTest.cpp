#include "VarnelSpeech/Asr/DuplicateRemoval.h"

#include "VarnelSpeech/Asr/AsrManager.h"
#include "support/LogRecorder.h"

#include "rapidcheck.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Ints = std::vector<int>;

DeduplicatedTokens deduplicated(const Ints& previous, const Ints& current, int maxOverlap = 12,
                                int boundarySearchFrames = 20) {
    return removeDuplicateTokenSequence(previous, current, maxOverlap, boundarySearchFrames, AppLogger("ASR"));
}

TEST(DuplicateRemoval, RemovesAnExactOverlap) {
    const auto rest = deduplicated({1, 2, 3}, {2, 3, 4});
    EXPECT_EQ(rest.tokens, Ints{4});
    EXPECT_EQ(rest.removed, 2);
}

TEST(DuplicateRemoval, FindsASequenceNearTheBoundary) {
    const auto rest = deduplicated({1, 2, 3, 4, 5}, {9, 3, 4, 7});
    EXPECT_EQ(rest.tokens, Ints{7});
    EXPECT_EQ(rest.removed, 3);
}

TEST(DuplicateRemoval, RemovesARepeatedSentenceEndBeforeTheSearch) {
    for (const int punctuation : {7883, 7952, 7948}) {
        const auto rest = deduplicated({5, punctuation}, {punctuation, 8, 9});
        EXPECT_EQ(rest.tokens, (Ints{8, 9}));
        EXPECT_EQ(rest.removed, 1);
    }
    const auto both = deduplicated({1, 2, 3, 7883}, {7883, 2, 3, 4});
    EXPECT_EQ(both.tokens, Ints{4});
    EXPECT_EQ(both.removed, 3);
}

TEST(DuplicateRemoval, ARepeatedTokenOfAnotherKindStays) {
    const auto rest = deduplicated({1, 5}, {5, 8});
    EXPECT_EQ(rest.tokens, (Ints{5, 8}));
    EXPECT_EQ(rest.removed, 0);
}

TEST(DuplicateRemoval, TheLongestOverlapWins) {
    const auto rest = deduplicated({1, 2, 1, 2}, {1, 2, 1, 2, 3});
    EXPECT_EQ(rest.tokens, Ints{3});
    EXPECT_EQ(rest.removed, 4);
}

TEST(DuplicateRemoval, AnExactOverlapWinsOverALongerSequenceInside) {
    const auto rest = deduplicated({1, 2, 3, 8, 9}, {8, 9, 1, 2, 3});
    EXPECT_EQ(rest.removed, 2);
}

TEST(DuplicateRemoval, TooFewTokensAreNoOverlap) {
    EXPECT_EQ(deduplicated({1}, {1, 2}).removed, 0);
    EXPECT_EQ(deduplicated({1, 2}, {2}).removed, 0);
    EXPECT_EQ(deduplicated({}, {1, 2}).removed, 0);
    EXPECT_EQ(deduplicated({1, 2}, {}).removed, 0);
    EXPECT_EQ(deduplicated({7883}, {7883}).removed, 1);
}

TEST(DuplicateRemoval, NoOverlapIsLongerThanTheMaximum) {
    const auto rest = deduplicated({1, 2, 3, 4}, {1, 2, 3, 4, 5}, 3);
    // No suffix of three fits a prefix; the sequence 1 2 3 does.
    EXPECT_EQ(rest.removed, 3);
    EXPECT_EQ(deduplicated({1, 2}, {1, 2}, 1).removed, 0);
    EXPECT_EQ(deduplicated({1, 2}, {1, 2}, -5).removed, 0);
}

TEST(DuplicateRemoval, OnlyTheLast15TokensAreSearched) {
    Ints previous{1, 2};
    for (int filler = 100; filler < 113; ++filler) {
        previous.push_back(filler);
    }
    EXPECT_EQ(deduplicated(previous, {1, 2, 3}).removed, 2); // 15 tokens
    previous.push_back(113);
    EXPECT_EQ(deduplicated(previous, {1, 2, 3}).removed, 0); // 16: the first is out of reach
}

TEST(DuplicateRemoval, OnlyTheBeginningOfTheCurrentTokensIsSearched) {
    const Ints current{9, 9, 9, 1, 2, 3};
    EXPECT_EQ(deduplicated({1, 2, 7}, current, 12, 4).removed, 5);
    EXPECT_EQ(deduplicated({1, 2, 7}, current, 12, 3).removed, 0);
    EXPECT_EQ(deduplicated({1, 2, 7}, current, 12, 0).removed, 0);
    EXPECT_EQ(deduplicated({1, 2, 7}, current, 12, -1).removed, 0);
}

TEST(DuplicateRemoval, EarlierInThePreviousTokensWinsOverEarlierInTheCurrent) {
    // 3 4 comes before 1 2 in the previous tokens, and after it in the current.
    EXPECT_EQ(deduplicated({3, 4, 1, 2, 7}, {9, 1, 2, 8, 3, 4, 6}).removed, 6);
}

TEST(DuplicateRemoval, LogsWhatItFound) {
    const LogRecorder log;
    deduplicated({1, 2, 3}, {2, 3, 4});
    deduplicated({1, 2, 3, 4, 5}, {9, 3, 4, 7});
    EXPECT_THAT(log.messages(AppLogger::Level::debug),
                ::testing::ElementsAre("Found exact suffix-prefix overlap of length 2: [2, 3]",
                                       "Found duplicate sequence length=2 at currStart=1: [3, 4] (boundarySearch=20)"));
}

TEST(DuplicateRemoval, TheManagerUsesItsConfiguration) {
    ASRConfig config;
    config.tdtConfig.boundarySearchFrames = 1;
    const AsrManager manager(config);
    EXPECT_EQ(manager.removeDuplicateTokenSequence({1, 2, 3, 4, 5}, {9, 3, 4, 7}, 12).removed, 0);
    EXPECT_EQ(AsrManager().removeDuplicateTokenSequence({1, 2, 3, 4, 5}, {9, 3, 4, 7}, 12).removed, 3);
}

// The steps written as they are told, with copies.
DeduplicatedTokens naive(const Ints& previous, Ints current, int maxOverlap, int boundarySearch) {
    int removed = 0;
    const auto isPunctuation = [](int token) { return token == 7883 || token == 7952 || token == 7948; };
    if (!previous.empty() && !current.empty() && previous.back() == current.front() && isPunctuation(current.front())) {
        current.erase(current.begin());
        removed = 1;
    }
    const int searchWindow = std::min(static_cast<int>(previous.size()), 15);
    const int maxLength = std::min(static_cast<int>(current.size()), maxOverlap);
    if (searchWindow < 2 || maxLength < 2) {
        return {current, removed};
    }
    const auto slice = [](const Ints& list, int begin, int count) {
        return Ints(list.begin() + begin, list.begin() + begin + count);
    };
    const int previousCount = static_cast<int>(previous.size());
    const int currentCount = static_cast<int>(current.size());
    for (int length = std::min(maxLength, searchWindow); length >= 2; --length) {
        if (slice(previous, previousCount - length, length) == slice(current, 0, length)) {
            return {slice(current, length, currentCount - length), removed + length};
        }
    }
    for (int length = std::min(maxLength, searchWindow); length >= 2; --length) {
        for (int start = std::max(0, previousCount - searchWindow); start <= previousCount - length; ++start) {
            for (int currStart = 0; currStart < std::min(currentCount - length + 1, boundarySearch); ++currStart) {
                if (slice(previous, start, length) == slice(current, currStart, length)) {
                    const int dropped = currStart + length;
                    return {slice(current, dropped, currentCount - dropped), removed + dropped};
                }
            }
        }
    }
    return {current, removed};
}

TEST(DuplicateRemoval, IsThatOfTheNaiveReading) {
    EXPECT_TRUE(rc::check("any tokens", [] {
        const auto token = rc::gen::element(1, 2, 3, 7883);
        const auto previous = *rc::gen::resize(30, rc::gen::container<Ints>(token));
        const auto current = *rc::gen::resize(30, rc::gen::container<Ints>(token));
        const int maxOverlap = *rc::gen::inRange(0, 16);
        const int boundarySearch = *rc::gen::inRange(0, 24);
        const auto expected = naive(previous, current, maxOverlap, boundarySearch);
        const auto actual = deduplicated(previous, current, maxOverlap, boundarySearch);
        RC_ASSERT(actual.tokens == expected.tokens);
        RC_ASSERT(actual.removed == expected.removed);
    }));
}

} // namespace
} // namespace VarnelSpeech::Testing
