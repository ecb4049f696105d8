#include "Varnel/Refinement/SpeakerReidentifier.h"

#include "Varnel/Models/ModelContainer.h"
#include "support/ApplicationLogRecorder.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <sqlite3.h>

#include <cmath>
#include <limits>

namespace Varnel {
namespace {

using SpeakerReidentifier::Match;
using SpeakerReidentifier::meanEmbedding;

Output::Segment segment(const char* key, std::vector<float> embedding) {
    return {0, 1, QStringLiteral("text"), QString::fromLatin1(key), std::move(embedding)};
}

TEST(MeanEmbedding, IsNotNormalised) {
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"), {segment("1", {1, 2}), segment("2", {50, 50}), segment("1", {3, 8})}),
              (std::vector<float>{2, 5}));
}

TEST(MeanEmbedding, AKeyWithoutEmbeddingsHasNone) {
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"), {segment("1", {}), segment("1", {})}), std::nullopt);
    EXPECT_EQ(meanEmbedding(QStringLiteral("2"), {segment("1", {1})}), std::nullopt);
    EXPECT_EQ(meanEmbedding(QStringLiteral(""), {}), std::nullopt);
}

TEST(MeanEmbedding, TheFirstEmbeddingSetsTheDimension) {
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"), {segment("1", {}), segment("1", {1, 2}), segment("1", {9, 9, 9}),
                                                  segment("1", {3, 4}), segment("1", {9})}),
              (std::vector<float>{2, 3}));
}

TEST(MeanEmbedding, SumsAreSingleFloatsInOrder) {
    // 2^24 + 1 is no float: the ones vanish one by one.
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"),
                            {segment("1", {16777216.0F}), segment("1", {1}), segment("1", {1}), segment("1", {1})}),
              (std::vector<float>{4194304.0F}));
}

class FindMatch : public ::testing::Test {
protected:
    ModelContext& context() { return container_.mainContext(); }

    std::shared_ptr<Speaker> store(const char* name, std::optional<Speaker::Embedding> embedding,
                                   const std::shared_ptr<Meeting>& meeting = {}) {
        auto speaker = std::make_shared<Speaker>(QUuid::createUuid(), QString::fromUtf8(name),
                                                 QStringLiteral("#0EA5E9"), false, std::move(embedding));
        context().insert(speaker);
        speaker->setMeeting(meeting);
        context().save();
        return speaker;
    }

    std::shared_ptr<Meeting> newMeeting() {
        auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Planning"),
                                                 QDateTime::fromMSecsSinceEpoch(0, Qt::UTC));
        context().insert(meeting);
        return meeting;
    }

    // The name of the match, or "none".
    QString find(const std::vector<float>& embedding, float threshold = 0.65F,
                 const std::optional<QUuid>& excluding = {}) {
        const auto match = SpeakerReidentifier::findMatch(embedding, excluding, context(), threshold);
        return match ? match->name : QStringLiteral("none");
    }

    static QString scores(const char* text) {
        return QStringLiteral("SpeakerReidentifier scores: ") + QString::fromUtf8(text);
    }

    Testing::ApplicationLogRecorder log_;
    ModelContainer container_;
};

TEST_F(FindMatch, AnEmptyStoreHasNoMatchAndNoLogLine) {
    EXPECT_EQ(find({1, 2}), QStringLiteral("none"));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(FindMatch, AnEmptyQueryHasNoMatchAndNoLogLine) {
    store("Ana", Speaker::Embedding{1, 0});
    store("Blank", Speaker::Embedding{});
    EXPECT_EQ(find({}, -1), QStringLiteral("none"));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(FindMatch, GivesNameColourFlagAndSimilarity) {
    store("Speaker 3", Speaker::Embedding{4, 3})->setIsYou(true);
    EXPECT_EQ(SpeakerReidentifier::findMatch({2, 0}, std::nullopt, context(), 0.65F),
              (Match{QStringLiteral("Speaker 3"), QStringLiteral("#0EA5E9"), true, 0.8F}));
    EXPECT_EQ(log_.lines(), QStringList{scores("Speaker 3=0.800")});
}

TEST_F(FindMatch, TheSpeakersOfTheMeetingItselfAreNoCandidates) {
    const auto meeting = newMeeting();
    store("Before", Speaker::Embedding{1, 0}, meeting);
    EXPECT_EQ(find({1, 0}, 0.65F, meeting->id()), QStringLiteral("none"));
    EXPECT_TRUE(log_.lines().isEmpty());
    EXPECT_EQ(find({1, 0}, 0.65F, QUuid::createUuid()), QStringLiteral("Before"));
    EXPECT_EQ(find({1, 0}), QStringLiteral("Before"));
}

TEST_F(FindMatch, ASpeakerWithoutAMeetingIsAlwaysACandidate) {
    store("Nowhere", Speaker::Embedding{1, 0});
    EXPECT_EQ(find({1, 0}, 0.65F, newMeeting()->id()), QStringLiteral("Nowhere"));
    EXPECT_EQ(find({1, 0}, 0.65F, QUuid()), QStringLiteral("Nowhere"));
}

TEST_F(FindMatch, WhatCannotBeComparedIsNotLogged) {
    store("Silent", std::nullopt);
    store("Blank", Speaker::Embedding{});
    store("Short", Speaker::Embedding{1});
    store("Long", Speaker::Embedding{1, 0, 0});
    EXPECT_EQ(find({1, 0}), QStringLiteral("none"));
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(FindMatch, ZerosScoreZeroAndAreLogged) {
    store("Zero", Speaker::Embedding{0, 0});
    EXPECT_EQ(find({1, 0}), QStringLiteral("none"));
    EXPECT_EQ(find({0, 0}, 0), QStringLiteral("Zero"));
    EXPECT_EQ(log_.lines(), (QStringList{scores("Zero=0.000"), scores("Zero=0.000")}));
}

TEST_F(FindMatch, ASimilarityOfExactlyTheThresholdMatches) {
    // The length of both is a whole number: 13 / 20 is 0.65, rounded once.
    store("Below", Speaker::Embedding{12.99999F, 11, 10, 3, 1});
    EXPECT_EQ(find({1, 0, 0, 0, 0}), QStringLiteral("none"));
    store("Exact", Speaker::Embedding{13, 11, 10, 3, 1});
    EXPECT_EQ(find({1, 0, 0, 0, 0}), QStringLiteral("Exact"));
    EXPECT_EQ(find({1, 0, 0, 0, 0}, std::nextafter(0.65F, 1.0F)), QStringLiteral("none"));
}

TEST_F(FindMatch, OfEqualScoresTheFirstStoredWins) {
    store("Zed", Speaker::Embedding{2, 0});
    store("Ana", Speaker::Embedding{5, 0});
    EXPECT_EQ(find({1, 0}), QStringLiteral("Zed"));
    store("Low", Speaker::Embedding{4, 3});
    EXPECT_EQ(find({4, 3}), QStringLiteral("Low"));
    EXPECT_EQ(log_.lines().last(), scores("Low=1.000, Zed=0.800, Ana=0.800"));
}

TEST_F(FindMatch, LogsTheFiveHighestScoresHighestFirst) {
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g"})
        store(name, Speaker::Embedding{static_cast<float>(name[0] % 4), 1});
    EXPECT_EQ(find({1, 0}, 2), QStringLiteral("none"));
    EXPECT_EQ(log_.lines(), QStringList{scores("c=0.949, g=0.949, b=0.894, f=0.894, a=0.707")});
}

TEST_F(FindMatch, OppositeVoicesMatchAtNoThreshold) {
    store("Opposite", Speaker::Embedding{-1, 0});
    EXPECT_EQ(find({1, 0}, -1), QStringLiteral("none"));
    store("Nearly", Speaker::Embedding{-4, 3});
    EXPECT_EQ(find({1, 0}, -1), QStringLiteral("Nearly"));
    EXPECT_EQ(log_.lines().last(), scores("Nearly=-0.800, Opposite=-1.000"));
}

TEST_F(FindMatch, AVoiceThatIsNotANumberNeverMatches) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    store("NaN", Speaker::Embedding{nan, 1});
    store("Infinite", Speaker::Embedding{infinity, 1});
    store("Ana", Speaker::Embedding{1, 0});
    EXPECT_EQ(find({1, 0}, -1), QStringLiteral("Ana"));
    EXPECT_EQ(find({nan, 0}, -1), QStringLiteral("none"));
    EXPECT_EQ(log_.lines(),
              (QStringList{scores("Ana=1.000, NaN=nan, Infinite=nan"), scores("NaN=nan, Infinite=nan, Ana=nan")}));
}

TEST_F(FindMatch, SumsAreSingleFloatsInOrder) {
    // 2^24 + 1 is no float: the products of one after the large one vanish one by one.
    store("Ana", Speaker::Embedding{16777216, 1, 1, 1, 1});
    const auto match = SpeakerReidentifier::findMatch({1, 1, 1, 1, 1}, std::nullopt, context(), 0);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->similarity, 16777216.0F / (std::sqrt(5.0F) * 16777216.0F));
    const auto reversed = SpeakerReidentifier::findMatch({1, 1, 1, 1, 4}, std::nullopt, context(), 0);
    ASSERT_TRUE(reversed);
    EXPECT_EQ(reversed->similarity, 16777220.0F / (std::sqrt(20.0F) * 16777216.0F));
}

TEST_F(FindMatch, VoicesOfAnotherNetworkAreNoCandidates) {
    const QString present = QStringLiteral("present");
    const auto findWith = [&](const std::optional<QString>& digest) {
        const auto match = SpeakerReidentifier::findMatch({1, 0}, std::nullopt, context(), 0.65F, digest);
        return match ? match->name : QStringLiteral("none");
    };
    store("Other", Speaker::Embedding{1, 0})->setEmbeddingModelDigest(QStringLiteral("former"));
    EXPECT_EQ(findWith(present), QStringLiteral("none"));
    EXPECT_TRUE(log_.lines().isEmpty());
    EXPECT_EQ(findWith(std::nullopt), QStringLiteral("Other")) << "the origin of the new voice is unknown";
    store("Unknown", Speaker::Embedding{4, 3});
    EXPECT_EQ(findWith(present), QStringLiteral("Unknown")) << "the origin of the stored voice is unknown";
    store("Same", Speaker::Embedding{1, 0})->setEmbeddingModelDigest(present);
    EXPECT_EQ(findWith(present), QStringLiteral("Same"));
    EXPECT_EQ(log_.lines().last(), scores("Same=1.000, Unknown=0.800"));
}

TEST_F(FindMatch, WhatWaitsForASaveCounts) {
    const auto ana = store("Ana", Speaker::Embedding{1, 0});
    ana->setName(QStringLiteral("Anna"));
    EXPECT_EQ(find({1, 0}), QStringLiteral("Anna"));
    ana->setEmbedding(std::nullopt);
    EXPECT_EQ(find({1, 0}), QStringLiteral("none"));
    const auto meeting = newMeeting();
    const auto fresh = std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("New"), QString(), false,
                                                 Speaker::Embedding{1, 0});
    fresh->setMeeting(meeting);
    EXPECT_EQ(find({1, 0}), QStringLiteral("New"));
    EXPECT_EQ(find({1, 0}, 0.65F, meeting->id()), QStringLiteral("none"));
    context().remove(meeting);
    EXPECT_EQ(find({1, 0}), QStringLiteral("none"));
}

TEST(FindMatchFailure, AStoreThatCannotBeReadHasNoMatchAndNoLogLine) {
    const VarnelSpeech::Testing::TemporaryFolder folder;
    const auto file = folder / "store/Varnel.store";
    ModelContainer container(file);
    container.mainContext().insert(
        std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("Ana"), QString(), false, Speaker::Embedding{1}));
    container.mainContext().save();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(file.string().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "DROP TABLE voiceDigests", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);

    const Testing::ApplicationLogRecorder log;
    EXPECT_EQ(SpeakerReidentifier::findMatch({1}, std::nullopt, container.mainContext(), 0), std::nullopt);
    EXPECT_TRUE(log.lines().isEmpty());
}

// The rule as it is told, over the list of all speakers.
std::optional<Match> plainMatch(const std::vector<float>& embedding, const ModelContext& context, float threshold) {
    std::optional<Match> best;
    float bestScore = -1.0F;
    for (const auto& speaker : context.fetchSpeakers()) {
        if (!speaker->embedding() || speaker->embedding()->empty() || speaker->embedding()->size() != embedding.size())
            continue;
        float dot = 0;
        float na = 0;
        float nb = 0;
        for (std::size_t i = 0; i < embedding.size(); ++i) {
            const float a = embedding[i];
            const float b = speaker->embedding()->at(i);
            dot += a * b;
            na += a * a;
            nb += b * b;
        }
        const float d = std::sqrt(na) * std::sqrt(nb);
        const float similarity = d == 0 ? 0 : dot / d;
        if (similarity >= threshold && ((!best && similarity > -1.0F) || similarity > bestScore)) {
            best = Match{speaker->name(), speaker->colorHex(), speaker->isYou(), similarity};
            bestScore = similarity;
        }
    }
    return best;
}

TEST(FindMatchProperties, IsTheRuleToTheLastBit) {
    EXPECT_TRUE(rc::check([] {
        ModelContainer container;
        auto& context = container.mainContext();
        const auto dimension = *rc::gen::inRange<std::size_t>(1, 40);
        const auto voice = [](std::size_t size) {
            return *rc::gen::container<std::vector<float>>(
                size,
                rc::gen::map(rc::gen::inRange(-1000, 1000), [](int value) { return static_cast<float>(value) / 77; }));
        };
        for (int number = *rc::gen::inRange(0, 30); number > 0; --number) {
            const bool isLonger = *rc::gen::inRange(0, 8) == 0;
            context.insert(std::make_shared<Speaker>(QUuid::createUuid(), QString::number(number), QString(), false,
                                                     voice(dimension + (isLonger ? 1 : 0))));
            if (*rc::gen::inRange(0, 10) == 0)
                context.save();
        }
        const auto query = voice(dimension);
        const float threshold = static_cast<float>(*rc::gen::inRange(-10, 10)) / 10;
        RC_ASSERT(SpeakerReidentifier::findMatch(query, std::nullopt, context, threshold) ==
                  plainMatch(query, context, threshold));
    }));
}

} // namespace
} // namespace Varnel
