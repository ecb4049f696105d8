#include "Varnel/Refinement/TranscriptGrouping.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Varnel {
namespace {

using VarnelSpeech::ASRResult;
using VarnelSpeech::DiarizationResult;
using VarnelSpeech::TimedSpeakerSegment;
using VarnelSpeech::TokenTiming;

TimedSpeakerSegment voice(const std::string& speaker, float start, float end, std::vector<float> embedding = {}) {
    return {"segment", speaker, std::move(embedding), start, end, 1.0F};
}

TokenTiming token(const std::string& text, double start, double end) {
    return {text, 1, start, end, 0.9F};
}

// A token that is a point in time.
TokenTiming at(double time, const std::string& text = "▁x") {
    return token(text, time, time);
}

std::vector<Output::Segment> group(std::vector<TokenTiming> tokens, std::vector<TimedSpeakerSegment> voices) {
    ASRResult result;
    result.text = "the whole text";
    result.duration = 10;
    result.tokenTimings = std::move(tokens);
    return groupTokens(result, DiarizationResult{std::move(voices), {}});
}

QString keyAt(double time, std::vector<TimedSpeakerSegment> voices) {
    return group({at(time)}, std::move(voices)).at(0).speakerKey;
}

TEST(TranscriptGrouping, SilenceIsNothingWhateverTheDiarizerSays) {
    ASRResult silence;
    silence.duration = 5;
    EXPECT_TRUE(groupTokens(silence, std::nullopt).empty());
    EXPECT_TRUE(groupTokens(silence, DiarizationResult{{voice("1", 0, 5)}, {}}).empty());
    silence.text = " \t\n\u00a0\u2003";
    EXPECT_TRUE(groupTokens(silence, std::nullopt).empty());
    EXPECT_TRUE(groupTokens(silence, DiarizationResult{{voice("1", 0, 5)}, {}}).empty());
}

TEST(TranscriptGrouping, WithoutDiarizationTheWholeTextIsOneSegment) {
    ASRResult result;
    result.text = "  hello  there\n";
    result.duration = 3.5;
    result.tokenTimings = {{token("▁hello", 1, 2)}};
    const Output::Segment whole{0, 3.5, QStringLiteral("hello  there"), QStringLiteral("S1"), {}};
    EXPECT_EQ(groupTokens(result, std::nullopt), std::vector{whole});
    // A diarizer that found nobody is no diarization; the timings do not matter.
    EXPECT_EQ(groupTokens(result, DiarizationResult{}), std::vector{whole});
}

TEST(TranscriptGrouping, WithoutTimingsTheWholeTextIsTheFirstVoices) {
    ASRResult result;
    result.text = " hello ";
    result.duration = 3.5;
    // First in the diarizer's order, not in time.
    const DiarizationResult voices{{voice("2", 2, 3, {0.5F}), voice("1", 0, 1, {0.25F})}, {}};
    const Output::Segment whole{0, 3.5, QStringLiteral("hello"), QStringLiteral("2"), {0.5F}};
    EXPECT_EQ(groupTokens(result, voices), std::vector{whole});
    result.tokenTimings.emplace();
    EXPECT_EQ(groupTokens(result, voices), std::vector{whole});
}

TEST(TranscriptGrouping, ATokenGoesToTheVoiceAtItsMidpoint) {
    const std::vector voices{voice("1", 0, 1.5F), voice("2", 1.5F, 3)};
    EXPECT_EQ(group({token("▁a", 0, 2.75)}, voices).at(0).speakerKey, QStringLiteral("1"));
    EXPECT_EQ(group({token("▁a", 1, 2.25)}, voices).at(0).speakerKey, QStringLiteral("2"));
}

TEST(TranscriptGrouping, AMidpointOnABoundaryGoesToTheVoiceThatSortsFirst) {
    EXPECT_EQ(keyAt(1, {voice("1", 0, 1), voice("2", 1, 2)}), QStringLiteral("1"));
    EXPECT_EQ(keyAt(1, {voice("2", 1, 2), voice("1", 0, 1)}), QStringLiteral("1"));
}

TEST(TranscriptGrouping, OfOverlappingVoicesTheOneThatStartedEarlierSpeaks) {
    EXPECT_EQ(keyAt(2.5, {voice("2", 2, 3), voice("1", 0, 4)}), QStringLiteral("1"));
    // Of two that start together, the first in the diarizer's order.
    EXPECT_EQ(keyAt(2.5, {voice("2", 2, 3), voice("1", 2, 4)}), QStringLiteral("2"));
}

TEST(TranscriptGrouping, InAGapTheNearestStartSpeaksEvenWhenAnEndIsNearer) {
    EXPECT_EQ(keyAt(5.1, {voice("1", 0, 5), voice("2", 9, 10)}), QStringLiteral("2"));
}

TEST(TranscriptGrouping, OfTwoStartsEquallyNearTheEarlierSpeaks) {
    EXPECT_EQ(keyAt(2, {voice("2", 3, 4), voice("1", 1, 1.5F)}), QStringLiteral("1"));
    EXPECT_EQ(keyAt(2, {voice("3", 1, 1.5F), voice("1", 1, 1.25F)}), QStringLiteral("3"));
}

TEST(TranscriptGrouping, AfterTheLastVoiceTheLatestStartSpeaks) {
    EXPECT_EQ(keyAt(100, {voice("2", 7, 8), voice("1", 0, 20)}), QStringLiteral("2"));
}

TEST(TranscriptGrouping, BeforeTheFirstVoiceTheEarliestStartSpeaks) {
    EXPECT_EQ(keyAt(0, {voice("2", 7, 8), voice("1", 3, 20)}), QStringLiteral("1"));
}

TEST(TranscriptGrouping, OneTokenOfAnotherVoiceMakesThreeSegments) {
    const auto segments = group({at(0.5, "▁one"), at(1.5, "▁two"), at(2.5, "▁three")},
                                {voice("1", 0, 1), voice("2", 1, 2), voice("1", 2, 3)});
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_EQ(segments[0].text, QStringLiteral("one"));
    EXPECT_EQ(segments[1].text, QStringLiteral("two"));
    EXPECT_EQ(segments[2].text, QStringLiteral("three"));
}

TEST(TranscriptGrouping, ARunKeepsTheFirstTokensVoiceAndSpansItsTokens) {
    const auto segments = group({token("▁hel", 0.25, 0.5), token("lo", 0.5, 0.75), token("▁you", 90.5, 91)},
                                {voice("1", 0, 1, {0.5F}), voice("1", 90, 92, {0.75F})});
    ASSERT_EQ(segments.size(), 1U); // no gap in time splits a run
    EXPECT_EQ(segments[0], (Output::Segment{0.25, 91, QStringLiteral("hello you"), QStringLiteral("1"), {0.5F}}));
}

TEST(TranscriptGrouping, DoubleBlanksAreHalvedInOnePass) {
    const std::vector voices{voice("1", 0, 10)};
    const auto text = [&](const std::string& blanks) { return group({at(1, "a" + blanks + "b")}, voices).at(0).text; };
    EXPECT_EQ(text("  "), QStringLiteral("a b"));
    EXPECT_EQ(text("   "), QStringLiteral("a  b"));
    EXPECT_EQ(text("    "), QStringLiteral("a  b"));
    EXPECT_EQ(text("▁▁▁"), QStringLiteral("a  b"));
    EXPECT_EQ(text("     "), QStringLiteral("a   b"));
}

TEST(TranscriptGrouping, TextIsTrimmedOfUnicodeWhiteSpace) {
    EXPECT_EQ(group({at(1, "\u00a0\u2003▁\u2028zürich\n\u3000")}, {voice("1", 0, 10)}).at(0).text,
              QStringLiteral("zürich"));
}

TEST(TranscriptGrouping, AGroupOfWordMarksAloneIsDroppedAndNotHealed) {
    const auto segments = group({at(0.5, "▁one"), at(1.5, "▁"), at(1.75, "▁▁"), at(2.5, "▁three")},
                                {voice("1", 0, 1), voice("2", 1, 2), voice("1", 2, 3)});
    ASSERT_EQ(segments.size(), 2U);
    EXPECT_EQ(segments[0].speakerKey, QStringLiteral("1"));
    EXPECT_EQ(segments[1].speakerKey, QStringLiteral("1"));
}

TEST(TranscriptGrouping, TimesThatAreNoNumbersDoNoHarm) {
    const float none = std::nanf("");
    EXPECT_EQ(keyAt(1, {voice("1", none, 3), voice("2", 5, none), voice("3", 0.5F, 0.75F)}), QStringLiteral("3"));
    EXPECT_EQ(keyAt(std::nan(""), {voice("2", 3, 4), voice("1", 0, 1)}), QStringLiteral("1"));
    EXPECT_EQ(keyAt(1, {voice("2", none, none), voice("1", none, none)}), QStringLiteral("2"));
}

// What the look-up means, written out plainly.
const TimedSpeakerSegment& plainLookup(double t, const std::vector<TimedSpeakerSegment>& voices) {
    std::vector<const TimedSpeakerSegment*> sorted;
    for (const auto& voice : voices)
        sorted.push_back(&voice);
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto* left, const auto* right) {
        return left->startTimeSeconds < right->startTimeSeconds;
    });
    for (const auto* voice : sorted) {
        if (static_cast<double>(voice->startTimeSeconds) <= t && static_cast<double>(voice->endTimeSeconds) >= t)
            return *voice;
    }
    const TimedSpeakerSegment* best = sorted.front();
    for (const auto* voice : sorted) {
        if (std::abs(voice->startTimeSeconds - t) < std::abs(best->startTimeSeconds - t))
            best = voice;
    }
    return *best;
}

TEST(TranscriptGrouping, FindsTheVoiceThatThePlainSearchFinds) {
    EXPECT_TRUE(rc::check([] {
        // A coarse grid, so that ties, overlaps, gaps and ends before starts all come about.
        const auto count = *rc::gen::inRange(1, 12);
        std::vector<TimedSpeakerSegment> voices;
        for (int i = 0; i < count; ++i) {
            const auto start = static_cast<float>(*rc::gen::inRange(-2, 20)) * 0.5F;
            const auto length = static_cast<float>(*rc::gen::inRange(-1, 8)) * 0.5F;
            voices.push_back(voice(std::to_string(i), start, start + length));
        }
        const double time = *rc::gen::inRange(-8, 60) * 0.25;
        const auto segments = group({at(time)}, voices);
        RC_ASSERT(segments.size() == 1U);
        RC_ASSERT(segments[0].speakerKey.toStdString() == plainLookup(time, voices).speakerId);
    }));
}

TEST(TranscriptGrouping, TiesThatComeFromRoundingGoToTheEarlierVoice) {
    // At this distance the two starts are equally far as far as a double can tell.
    const std::vector voices{voice("1", 1e-30F, 2e-30F), voice("2", 2e-30F, 3e-30F)};
    EXPECT_EQ(plainLookup(1, voices).speakerId, "1");
    EXPECT_EQ(keyAt(1, voices), QStringLiteral("1"));
}

TEST(TranscriptGrouping, LongMeetingsAreGroupedAsThePlainSearchWould) {
    std::vector<TimedSpeakerSegment> voices;
    std::vector<TokenTiming> tokens;
    for (int i = 0; i < 10'000; ++i) {
        const auto start = static_cast<float>(i) * 3.6F + static_cast<float>(i % 7) * 0.9F;
        voices.push_back(voice(std::to_string(i % 5), start, start + static_cast<float>(i % 11) * 0.7F));
    }
    for (int i = 0; i < 100'000; ++i)
        tokens.push_back(token("▁w", i * 0.36, i * 0.36 + 0.08));
    const auto segments = group(tokens, voices);
    // Every tenth segment's first token, looked up the long way.
    for (std::size_t i = 0; i < segments.size(); i += segments.size() / 100) {
        ASSERT_EQ(segments[i].speakerKey.toStdString(), plainLookup(segments[i].startTime + 0.04, voices).speakerId);
    }
    ASSERT_GT(segments.size(), 1000U);
}

} // namespace
} // namespace Varnel
