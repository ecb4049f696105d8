#include "Varnel/Refinement/DiarizationErrorRate.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace Varnel {

void PrintTo(const DiarizationErrorRate& rate, std::ostream* stream) {
    *stream << rate.missedSeconds << " s missed, " << rate.falseAlarmSeconds << " s false alarm, "
            << rate.confusedSeconds << " s confused of " << rate.referenceSeconds << " s, " << rate.referenceSpeakers
            << " and " << rate.hypothesisSpeakers << " speakers";
}

namespace {

using Turns = std::vector<SpeakerTurn>;
using Overlap = DiarizationErrorRate::Overlap;

DiarizationErrorRate rate(const Turns& reference, const Turns& hypothesis,
                          const DiarizationErrorRate::Scoring& scoring = {}) {
    return DiarizationErrorRate::of(reference, hypothesis, scoring);
}

TEST(DiarizationErrorRate, CountsEachKindOfError) {
    const Turns reference{{0, 10, "A"}, {10, 20, "B"}};
    EXPECT_EQ(rate(reference, reference), (DiarizationErrorRate{20, 0, 0, 0, 2, 2}));
    EXPECT_EQ(rate(reference, {{0, 10, "1"}, {10, 15, "2"}}), (DiarizationErrorRate{20, 5, 0, 0, 2, 2}));
    EXPECT_EQ(rate(reference, {{0, 10, "1"}, {10, 23, "2"}}), (DiarizationErrorRate{20, 0, 3, 0, 2, 2}));
    EXPECT_EQ(rate(reference, {{0, 14, "1"}, {14, 20, "2"}}), (DiarizationErrorRate{20, 0, 0, 4, 2, 2}));
    EXPECT_EQ(rate(reference, {{0, 20, "1"}}), (DiarizationErrorRate{20, 0, 0, 10, 2, 1}));
    EXPECT_EQ(rate(reference, {}), (DiarizationErrorRate{20, 20, 0, 0, 2, 0}));
}

TEST(DiarizationErrorRate, IsInPercentOfTheReferencesSpeech) {
    EXPECT_DOUBLE_EQ(rate({{0, 10, "A"}}, {{5, 40, "1"}}).percent(), 350.0); // 5 s missed and 30 s false alarm
    EXPECT_DOUBLE_EQ(rate({}, {}).percent(), 0.0);
    EXPECT_DOUBLE_EQ(rate({}, {{0, 1, "1"}}).percent(), 100.0);
}

TEST(DiarizationErrorRate, ScoresEachSpeakerOfAnOverlap) {
    const Turns reference{{0, 6, "A"}, {4, 10, "B"}};
    EXPECT_EQ(rate(reference, {{0, 4, "1"}, {4, 10, "2"}}), (DiarizationErrorRate{12, 2, 0, 0, 2, 2}));
    EXPECT_EQ(rate(reference, {{0, 6, "1"}, {4, 10, "2"}, {4, 6, "3"}}), (DiarizationErrorRate{12, 0, 2, 0, 2, 3}));
    EXPECT_EQ(rate(reference, {{0, 4, "1"}, {4, 10, "2"}}, {.overlap = Overlap::skipped}),
              (DiarizationErrorRate{8, 0, 0, 0, 2, 2}));
}

TEST(DiarizationErrorRate, DoesNotScoreTheCollar) {
    const Turns reference{{1, 10, "A"}, {10, 20, "B"}};
    const Turns late{{1.25, 10.25, "1"}, {10.25, 20.25, "2"}};
    EXPECT_EQ(rate(reference, late), (DiarizationErrorRate{19, 0.25, 0.25, 0.25, 2, 2}));
    EXPECT_EQ(rate(reference, late, {.collar = 0.25}), (DiarizationErrorRate{18, 0, 0, 0, 2, 2}));
    EXPECT_EQ(rate(reference, late, {.collar = 100}), (DiarizationErrorRate{0, 0, 0, 0, 2, 2}));
}

TEST(DiarizationErrorRate, PutsACollarAtTheEndsOfMergedTurnsOnly) {
    const Turns pieces{{0, 4, "A"}, {4, 6, "A"}, {5, 10, "A"}};
    EXPECT_EQ(rate(pieces, {{0, 10, "1"}}, {.collar = 0.5}), (DiarizationErrorRate{9, 0, 0, 0, 1, 1}));
}

TEST(DiarizationErrorRate, CountsNobodyTwice) {
    EXPECT_EQ(rate({{0, 10, "A"}}, {{0, 8, "1"}, {2, 10, "1"}}), (DiarizationErrorRate{10, 0, 0, 0, 1, 1}));
    EXPECT_EQ(rate({{0, 10, "A"}, {3, 3, "B"}}, {{0, 10, "1"}}), (DiarizationErrorRate{10, 0, 0, 0, 1, 1}))
        << "who says nothing is no speaker";
}

TEST(DiarizationErrorRate, PairsSpeakersForTheLargestSum) {
    // Greedily 1 would go to A for its 9 s; the best pairs are A with 2 and B with 1.
    const Turns reference{{0, 17, "A"}, {17, 24, "B"}};
    const Turns hypothesis{{0, 9, "1"}, {9, 17, "2"}, {17, 24, "1"}};
    EXPECT_EQ(rate(reference, hypothesis), (DiarizationErrorRate{24, 0, 0, 9, 2, 2}));
}

TEST(DiarizationErrorRate, PairsSpeakersInWhatIsScoredAlone) {
    // With the collar nothing of A and 1 together is left.
    const Turns reference{{0, 2, "A"}, {2, 10, "B"}};
    EXPECT_EQ(rate(reference, {{0, 2, "1"}, {2, 4, "2"}, {4, 10, "1"}}, {.collar = 1}),
              (DiarizationErrorRate{6, 0, 0, 1, 2, 2}));
}

TEST(DiarizationErrorRate, ManagesFortySpeakers) {
    Turns reference;
    Turns hypothesis;
    for (int i = 0; i < 400; ++i) {
        reference.push_back({i * 2.0, i * 2.0 + 2, "R" + std::to_string(i % 40)});
        hypothesis.push_back({i * 2.0, i * 2.0 + 2, "H" + std::to_string((i % 40 * 7 + 3) % 40)});
    }
    EXPECT_EQ(rate(reference, hypothesis), (DiarizationErrorRate{800, 0, 0, 0, 40, 40}));
}

TEST(DiarizationErrorRate, PoolsRecordings) {
    DiarizationErrorRate sum = rate({{0, 10, "A"}}, {{0, 9, "1"}});
    sum += rate({{0, 30, "A"}, {30, 40, "B"}}, {{0, 40, "1"}});
    EXPECT_EQ(sum, (DiarizationErrorRate{50, 1, 0, 10, 3, 2}));
    EXPECT_DOUBLE_EQ(sum.percent(), 22.0);
}

// The same by counting frames of 50 ms and trying every way to pair the speakers. All times are whole frames.
constexpr double frame = 0.05;

std::set<std::string> speakersAt(const Turns& turns, double time) {
    std::set<std::string> result;
    for (const SpeakerTurn& turn : turns)
        if (turn.start < time && time < turn.end)
            result.insert(turn.speaker);
    return result;
}

bool isInCollar(const Turns& reference, double time, double collar) {
    for (const SpeakerTurn& turn : reference) {
        for (const double boundary : {turn.start, turn.end}) {
            // No boundary where the speaker goes on.
            const bool isInside = speakersAt(reference, boundary - frame / 2).contains(turn.speaker) &&
                                  speakersAt(reference, boundary + frame / 2).contains(turn.speaker);
            if (turn.end > turn.start && !isInside && std::abs(time - boundary) < collar)
                return true;
        }
    }
    return false;
}

DiarizationErrorRate rateByFrames(const Turns& reference, const Turns& hypothesis,
                                  const DiarizationErrorRate::Scoring& scoring, int frames) {
    std::vector<std::pair<std::set<std::string>, std::set<std::string>>> scored;
    std::set<std::string> references;
    std::set<std::string> hypotheses;
    for (int i = 0; i < frames; ++i) {
        const double time = (i + 0.5) * frame;
        auto expected = speakersAt(reference, time);
        auto heard = speakersAt(hypothesis, time);
        references.insert(expected.begin(), expected.end());
        hypotheses.insert(heard.begin(), heard.end());
        if (isInCollar(reference, time, scoring.collar) || (scoring.overlap == Overlap::skipped && expected.size() > 1))
            continue;
        scored.emplace_back(std::move(expected), std::move(heard));
    }
    // Pairs the i-th reference with the order[i]-th hypothesis; those past the end stand for nobody.
    std::vector<std::string> names(hypotheses.begin(), hypotheses.end());
    names.resize(std::max(references.size(), hypotheses.size()));
    std::vector<std::size_t> order(names.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::optional<DiarizationErrorRate> best;
    do {
        std::map<std::string, std::string> partner;
        std::size_t next = 0;
        for (const std::string& name : references)
            partner[name] = names[order[next++]];
        DiarizationErrorRate sum{0, 0, 0, 0, references.size(), hypotheses.size()};
        for (const auto& [expected, heard] : scored) {
            const auto right = std::count_if(expected.begin(), expected.end(),
                                             [&](const std::string& name) { return heard.contains(partner[name]); });
            const auto both = std::min(expected.size(), heard.size());
            sum.referenceSeconds += frame * static_cast<double>(expected.size());
            sum.missedSeconds += frame * static_cast<double>(expected.size() - both);
            sum.falseAlarmSeconds += frame * static_cast<double>(heard.size() - both);
            sum.confusedSeconds += frame * (static_cast<double>(both) - static_cast<double>(right));
        }
        if (!best || sum.confusedSeconds < best->confusedSeconds)
            best = sum;
    } while (std::next_permutation(order.begin(), order.end()));
    return *best;
}

Turns randomTurns(const std::string& prefix, int frames) {
    Turns turns;
    const int count = *rc::gen::inRange(0, 8);
    for (int i = 0; i < count; ++i) {
        const int start = *rc::gen::inRange(0, frames);
        const int end = *rc::gen::inRange(start, frames + 1);
        turns.push_back({start * frame, end * frame, prefix + std::to_string(*rc::gen::inRange(0, 4))});
    }
    return turns;
}

TEST(DiarizationErrorRate, IsWhatCountingFramesGives) {
    EXPECT_TRUE(rc::check("a sweep over intervals and a count of frames agree", [] {
        constexpr int frames = 60;
        const Turns reference = randomTurns("R", frames);
        const Turns hypothesis = randomTurns("H", frames);
        const DiarizationErrorRate::Scoring scoring{.collar = *rc::gen::inRange(0, 5) * frame,
                                                    .overlap = *rc::gen::element(Overlap::scored, Overlap::skipped)};
        const auto swept = rate(reference, hypothesis, scoring);
        const auto counted = rateByFrames(reference, hypothesis, scoring, frames);
        RC_ASSERT(std::abs(swept.referenceSeconds - counted.referenceSeconds) < 1e-9);
        RC_ASSERT(std::abs(swept.missedSeconds - counted.missedSeconds) < 1e-9);
        RC_ASSERT(std::abs(swept.falseAlarmSeconds - counted.falseAlarmSeconds) < 1e-9);
        RC_ASSERT(std::abs(swept.confusedSeconds - counted.confusedSeconds) < 1e-9);
        RC_ASSERT(swept.referenceSpeakers == counted.referenceSpeakers);
        RC_ASSERT(swept.hypothesisSpeakers == counted.hypothesisSpeakers);
    }));
}

TEST(DiarizationErrorRate, DoesNotDependOnNamesOrOrder) {
    EXPECT_TRUE(rc::check("other names and another order of the turns change nothing", [] {
        const Turns reference = randomTurns("R", 100);
        Turns hypothesis = randomTurns("H", 100);
        const auto before = rate(reference, hypothesis);
        for (SpeakerTurn& turn : hypothesis)
            turn.speaker = "other " + std::to_string('9' - turn.speaker.back());
        std::reverse(hypothesis.begin(), hypothesis.end());
        const auto after = rate(reference, hypothesis);
        RC_ASSERT(std::abs(after.errorSeconds() - before.errorSeconds()) < 1e-9);
        RC_ASSERT(std::abs(rate(reference, reference).errorSeconds()) < 1e-9);
    }));
}

} // namespace
} // namespace Varnel
