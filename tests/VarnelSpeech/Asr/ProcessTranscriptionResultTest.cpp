#include "VarnelSpeech/Asr/AsrManager.h"

#include "support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace VarnelSpeech::Testing {
namespace {

using Ints = std::vector<int>;
using Floats = std::vector<float>;

constexpr char warning[] = "Expected token confidences but got none - this should not happen";

class ProcessTranscriptionResult : public ::testing::Test {
protected:
    ProcessTranscriptionResult() {
        AsrModels models;
        models.vocabulary = {{1, "▁one"}, {2, "▁two"}, {3, "▁"}, {4, "\n"}, {5, "\u2003"}};
        manager.initialize(models);
    }

    ASRResult process(const Ints& ids, const Ints& timestamps, const Floats& confidences, const Ints& durations = {},
                      const std::vector<TokenTiming>& existing = {}) {
        return manager.processTranscriptionResult(ids, timestamps, confidences, durations, 32000, 0.5, existing);
    }

    std::vector<std::pair<double, double>> times(const Ints& timestamps, const Ints& durations = {}) {
        const Ints ids(timestamps.size(), 1);
        const auto result = process(ids, timestamps, Floats(ids.size(), 0.5F), durations);
        std::vector<std::pair<double, double>> spans;
        for (const TokenTiming& timing : *result.tokenTimings) {
            spans.emplace_back(timing.startTime, timing.endTime);
        }
        return spans;
    }

    AsrManager manager;
};

TEST_F(ProcessTranscriptionResult, GivesTextTimesAndConfidence) {
    const ASRResult result = process({1, 2}, {10, 20}, {0.5F, 1.0F});
    EXPECT_EQ(result.text, "one two");
    EXPECT_EQ(result.duration, 2.0);
    EXPECT_EQ(result.processingTime, 0.5);
    EXPECT_EQ(result.confidence, 0.75F);
    EXPECT_EQ(result.performanceMetrics, std::nullopt);
    const std::vector<TokenTiming> expected{{" one", 1, 10 * 0.08, 20 * 0.08, 0.5F},
                                            {" two", 2, 20 * 0.08, 20 * 0.08 + 0.08, 1.0F}};
    EXPECT_EQ(result.tokenTimings, expected);
}

TEST_F(ProcessTranscriptionResult, TwoTokensAtOneFrameEndAFrameLater) {
    EXPECT_EQ(times({10, 10}),
              (std::vector<std::pair<double, double>>{{10 * 0.08, 10 * 0.08 + 0.08}, {10 * 0.08, 10 * 0.08 + 0.08}}));
}

TEST_F(ProcessTranscriptionResult, ATokenLastsToTheNextOnesStart) {
    const auto spans = times({10, 13, 14});
    EXPECT_EQ(spans[0].second, 13 * 0.08);
    EXPECT_EQ(spans[2].second, 14 * 0.08 + 0.08);
    // The next start is later than a frame's end only by rounding, if at all.
    EXPECT_DOUBLE_EQ(spans[1].second, 14 * 0.08);
    EXPECT_GE(spans[1].second, 13 * 0.08 + 0.08);
}

TEST_F(ProcessTranscriptionResult, DurationsCountWhereTheyAreGiven) {
    const auto spans = times({10, 20, 30}, {3, 0, -4});
    EXPECT_EQ(spans[0].second, 10 * 0.08 + 3 * 0.08);
    EXPECT_EQ(spans[1].second, 30 * 0.08); // none: to the next start
    EXPECT_EQ(spans[2].second, 30 * 0.08 + 0.08);
    EXPECT_EQ(times({10, 20}, {1})[1].second, 20 * 0.08 + 0.08); // a list that is too short
}

TEST_F(ProcessTranscriptionResult, TimingsAreInOrderOfTimeAndStableWithinAFrame) {
    const ASRResult result = process({1, 2, 9}, {20, 10, 10}, {0.5F, 0.25F, 0.125F});
    ASSERT_EQ(result.tokenTimings->size(), 3U);
    EXPECT_EQ((*result.tokenTimings)[0].tokenId, 2);
    EXPECT_EQ((*result.tokenTimings)[0].confidence, 0.25F);
    EXPECT_EQ((*result.tokenTimings)[1].tokenId, 9);
    EXPECT_EQ((*result.tokenTimings)[2].tokenId, 1);
    EXPECT_EQ(result.text, "one two"); // the text keeps the order of the ids
}

TEST_F(ProcessTranscriptionResult, AnIdWithoutEntryHasNoTextButATiming) {
    const ASRResult result = process({1, 77}, {10, 20}, {0.5F, 0.5F});
    EXPECT_EQ(result.text, "one");
    EXPECT_EQ(result.tokenTimings->back().token, "token_77");
    EXPECT_EQ(result.tokenTimings->back().tokenId, 77);
}

TEST_F(ProcessTranscriptionResult, ListsOfDifferentLengthsGiveNoTimings) {
    EXPECT_TRUE(process({}, {}, {}).tokenTimings->empty());
    EXPECT_TRUE(process({1}, {}, {0.5F}).tokenTimings->empty());
    EXPECT_TRUE(process({1}, {1, 2}, {0.5F}).tokenTimings->empty());
    EXPECT_TRUE(process({1, 2}, {1, 2}, {0.5F}).tokenTimings->empty());
}

TEST_F(ProcessTranscriptionResult, ATextOfOnlyWordBoundariesIsEmptyAndUnsure) {
    const ASRResult result = process({3, 3}, {1, 2}, {0.9F, 0.9F});
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(result.confidence, 0.1F);
}

TEST_F(ProcessTranscriptionResult, ATextOfOnlyWhiteSpaceIsUnsure) {
    const ASRResult result = process({4, 5}, {1, 2}, {0.9F, 0.9F});
    EXPECT_EQ(result.text, "\n\u2003");
    EXPECT_EQ(result.confidence, 0.1F);
}

TEST_F(ProcessTranscriptionResult, ConfidenceStaysBetweenATenthAndOne) {
    EXPECT_EQ(process({1, 1, 1}, {1, 2, 3}, {0.05F, 0.05F, 0.05F}).confidence, 0.1F);
    EXPECT_EQ(process({1}, {1}, {1.5F}).confidence, 1.0F);
    EXPECT_EQ(process({1}, {1}, {std::numeric_limits<float>::quiet_NaN()}).confidence, 0.1F);
    EXPECT_EQ(process({}, {}, {}).confidence, 0.1F);
}

TEST_F(ProcessTranscriptionResult, MissingConfidencesAreWarnedOfAndCountAsAHalf) {
    for (const Floats& confidences : {Floats{}, Floats{0.9F}, Floats{0.9F, 0.9F, 0.9F}}) {
        const LogRecorder log;
        EXPECT_EQ(process({1, 2}, {}, confidences).confidence, 0.5F);
        EXPECT_THAT(log.messages(AppLogger::Level::warning), ::testing::ElementsAre(warning));
    }
}

TEST_F(ProcessTranscriptionResult, AnEmptyTextWarnsOfNothing) {
    const LogRecorder log;
    process({3}, {1}, {});
    EXPECT_THAT(log.messages(AppLogger::Level::warning), ::testing::IsEmpty());
}

TEST_F(ProcessTranscriptionResult, ExistingTimingsOfKeptTokensAreUsed) {
    const std::vector<TokenTiming> existing{
        {"▁x", 1, 1.0, 2.0, 0.5F}, {"y", 7, 2.0, 3.0, 0.5F}, {"▁z", 2, 3.0, 4.0, 0.5F}};
    const ASRResult result = process({1, 77, 2, 1}, {5, 6, 7, 8}, {0.5F, 0.5F, 0.5F, 0.5F}, {}, existing);
    // 77 is not in the text; the fourth token has no timing.
    const std::vector<TokenTiming> expected{{" x", 1, 1.0, 2.0, 0.5F}, {" z", 2, 3.0, 4.0, 0.5F}};
    EXPECT_EQ(result.tokenTimings, expected);
}

} // namespace
} // namespace VarnelSpeech::Testing
