#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/SpeakerCoding.h"
#include "VarnelSpeech/Diarizer/SpeakerNumber.h"
#include "VoiceFixtures.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <unordered_set>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;

TEST(Speaker, HasAFreshIdAsItsNameWhenNothingIsGiven) {
    const Speaker first(std::vector<float>{3, 4});
    const Speaker second(std::vector<float>{3, 4});
    EXPECT_TRUE(UUID::parse(first.id()));
    EXPECT_NE(first.id(), second.id());
    EXPECT_EQ(first.name(), first.id());
    EXPECT_EQ(first.updateCount(), 1);
    EXPECT_FALSE(first.isPermanent());
    EXPECT_EQ(first.updatedAt(), first.createdAt());
    EXPECT_NEAR(first.currentEmbedding()[0], 0.6F, 1e-6);
}

TEST(Speaker, IsEqualAndHashedById) {
    const std::unordered_set<Speaker> set{Speaker(voice(0), "1"), Speaker(voice(5), "1"), Speaker(voice(0), "2")};
    EXPECT_EQ(set.size(), 2U);
}

// The reference is the history's mean first, then nine parts of it and one part of the new embedding.
TEST(Speaker, LearnsTheHistoryMeanThenTheEmbedding) {
    Speaker learner(voice(9), "1", "Ada", 1.0F, day(1));
    learner.addRawEmbedding(RawEmbedding(UUID::fresh(), voice(0), day(1)), day(1));
    learner.updateMainEmbedding(std::vector<float>(voice(1)), UUID::fresh(), 2.5F, day(2));
    const float mean = std::sqrt(0.5F);
    std::vector<float> expected(256);
    expected[0] = mean * 0.9F;
    expected[1] = mean * 0.9F + (1.0F - 0.9F);
    l2Normalize(expected);
    EXPECT_NEAR(learner.currentEmbedding()[0], expected[0], 1e-6);
    EXPECT_NEAR(learner.currentEmbedding()[1], expected[1], 1e-6);
    EXPECT_EQ(learner.currentEmbedding()[9], 0.0F);
    EXPECT_EQ(learner.duration(), 3.5F);
    EXPECT_EQ(learner.updateCount(), 2);
    EXPECT_EQ(learner.updatedAt(), day(2));
    EXPECT_EQ(learner.rawEmbeddings().size(), 2U);
}

TEST(Speaker, LearnsNothingFromAFaintOrBrokenEmbedding) {
    for (const float value : {0.09F, 0.0F, noNumber}) {
        Speaker learner(voice(0, 1), "1", "Ada", 1.0F, day(1));
        learner.updateMainEmbedding(std::vector<float>{value}, UUID::fresh(), 2.0F, day(2));
        EXPECT_EQ(learner.duration(), 1.0F);
        EXPECT_EQ(learner.updateCount(), 1);
        EXPECT_EQ(learner.updatedAt(), day(1));
        EXPECT_TRUE(learner.rawEmbeddings().empty());
    }
}

TEST(Speaker, KeepsFiftyObservationsAndLetsTheOldestGo) {
    Speaker learner(voice(0), "1");
    const auto seen = observations(53, 1, voice(0));
    for (const auto& raw : seen) {
        learner.addRawEmbedding(raw, raw.timestamp);
    }
    ASSERT_EQ(learner.rawEmbeddings().size(), 50U);
    EXPECT_EQ(learner.rawEmbeddings().front().segmentId, seen[3].segmentId);
    EXPECT_EQ(learner.rawEmbeddings().back().segmentId, seen[52].segmentId);
}

TEST(Speaker, IgnoresObservationsWithoutLength) {
    Speaker learner(voice(0), "1", "Ada", 1, day(1));
    learner.addRawEmbedding(RawEmbedding(UUID::fresh(), std::vector<float>(256), day(2)), day(2));
    EXPECT_TRUE(learner.rawEmbeddings().empty());
    EXPECT_EQ(learner.updatedAt(), day(1));
}

TEST(Speaker, TakesTheMeanOfTheObservationsOfTheFirstOnesLength) {
    SpeakerFields fields = fieldsOf("1", voice(9));
    fields.rawEmbeddings = observations(1, 1, voice(0));
    fields.rawEmbeddings.emplace_back(UUID::fresh(), voice(2, 3), day(2));
    fields.rawEmbeddings.emplace_back(UUID::fresh(), voice(1), day(3));
    Speaker learner(fields, day(4));
    learner.recalculateMainEmbedding(day(5));
    EXPECT_NEAR(learner.currentEmbedding()[0], std::sqrt(0.5F), 1e-6);
    EXPECT_NEAR(learner.currentEmbedding()[1], std::sqrt(0.5F), 1e-6);
    EXPECT_EQ(learner.updatedAt(), day(5));
}

TEST(Speaker, KeepsItsReferenceWhenThereIsNothingToAverage) {
    Speaker bare(voice(3), "1", "Ada", 1, day(1));
    bare.recalculateMainEmbedding(day(2));
    EXPECT_EQ(bare.currentEmbedding(), voice(3));
    EXPECT_EQ(bare.updatedAt(), day(1));
    SpeakerFields fields = fieldsOf("2", voice(3));
    fields.rawEmbeddings.emplace_back(UUID::fresh(), std::vector<float>{}, day(1));
    fields.rawEmbeddings.emplace_back(UUID::fresh(), voice(4), day(1));
    Speaker hollow(fields, day(1));
    hollow.recalculateMainEmbedding(day(2));
    EXPECT_EQ(hollow.currentEmbedding(), voice(3));
}

TEST(Speaker, ForgetsAnObservationBySegment) {
    Speaker learner(voice(9), "1");
    const RawEmbedding kept(UUID::fresh(), voice(0), day(1));
    const RawEmbedding gone(UUID::fresh(), voice(1), day(2));
    learner.addRawEmbedding(kept, day(1));
    learner.addRawEmbedding(gone, day(2));
    const auto removed = learner.removeRawEmbedding(gone.segmentId, day(3));
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->embedding, voice(1));
    EXPECT_EQ(learner.currentEmbedding(), voice(0));
    EXPECT_EQ(learner.updatedAt(), day(3));
    EXPECT_FALSE(learner.removeRawEmbedding(gone.segmentId, day(4)));
}

TEST(Speaker, CountsWithoutOverflow) {
    SpeakerFields fields = fieldsOf("1", voice(0));
    fields.updateCount = std::numeric_limits<std::int64_t>::max();
    Speaker many(fields, day(1));
    many.updateMainEmbedding(voice(0), UUID::fresh(), 1, day(2));
    many.mergeWith(Speaker(fields, day(1)), std::nullopt, day(3));
    EXPECT_EQ(many.updateCount(), std::numeric_limits<std::int64_t>::max());
}

TEST(SpeakerCoding, GivesBackWhatWasWritten) {
    SpeakerFields fields = fieldsOf("7", voiceAt(0.3F, 1, 2));
    fields.name = "Zoë \"Z\"";
    fields.duration = 12.25F;
    fields.rawEmbeddings = observations(2, 5, voice(1));
    fields.updateCount = 9;
    fields.createdAt = day(3) + std::chrono::nanoseconds(123456789);
    fields.updatedAt = day(4);
    fields.isPermanent = true;
    const Speaker original(fields, day(1));
    const auto decoded = decodeSpeaker(encodeSpeaker(original));
    EXPECT_EQ(decoded->id(), "7");
    EXPECT_EQ(decoded->name(), original.name());
    EXPECT_EQ(decoded->duration(), 12.25F);
    EXPECT_EQ(decoded->createdAt(), *fields.createdAt);
    EXPECT_EQ(decoded->updatedAt(), day(4));
    EXPECT_EQ(decoded->updateCount(), 9);
    EXPECT_TRUE(decoded->isPermanent());
    for (std::size_t i = 0; i < 256; ++i) {
        EXPECT_NEAR(decoded->currentEmbedding()[i], original.currentEmbedding()[i], 1e-7);
    }
    ASSERT_EQ(decoded->rawEmbeddings().size(), 2U);
    EXPECT_EQ(decoded->rawEmbeddings()[1].segmentId, original.rawEmbeddings()[1].segmentId);
    EXPECT_EQ(decoded->rawEmbeddings()[1].embedding, original.rawEmbeddings()[1].embedding);
    EXPECT_EQ(decoded->rawEmbeddings()[1].timestamp, day(6));
}

TEST(SpeakerCoding, WritesValuesThatAreNoNumbersAsNull) {
    auto broken = voice(0);
    broken[0] = noNumber;
    const auto decoded = decodeSpeaker(encodeSpeaker(*speaker("1", broken)));
    EXPECT_TRUE(std::isnan(decoded->currentEmbedding()[0]));
}

TEST(SpeakerCoding, RefusesTextsThatAreNoSpeakers) {
    const auto refusal = [](const std::string& text) {
        try {
            decodeSpeaker(text);
        } catch (const SpeakerCodingError& error) {
            return std::string(error.what());
        }
        return std::string("(accepted)");
    };
    const std::string good = encodeSpeaker(*speaker("1", voice(0, 2)));
    const auto changed = [&good](const std::string& from, const std::string& to) {
        std::string text = good;
        return text.replace(text.find(from), from.size(), to);
    };
    EXPECT_EQ(refusal(good), "(accepted)");
    EXPECT_EQ(refusal(""), "Not a speaker: expected a JSON object");
    EXPECT_EQ(refusal("[1]"), "Not a speaker: expected a JSON object");
    EXPECT_EQ(refusal(good.substr(0, good.size() / 2)), "Not a speaker: expected a JSON object");
    EXPECT_EQ(refusal(changed("\"id\"", "\"ID\"")), "Missing speaker field: id");
    EXPECT_EQ(refusal(changed("\"1\"", "1")), "Invalid speaker field: id");
    EXPECT_EQ(refusal(changed("\"updateCount\":1", "\"updateCount\":1.5")), "Invalid speaker field: updateCount");
    EXPECT_EQ(refusal(changed("\"updateCount\":1", "\"updateCount\":9223372036854775808")),
              "Invalid speaker field: updateCount");
    EXPECT_EQ(refusal(changed("\"duration\":1.0", "\"duration\":1e39")), "Invalid speaker field: duration");
    EXPECT_EQ(refusal(changed("\"rawEmbeddings\":[]", "\"rawEmbeddings\":[1]")),
              "Invalid speaker field: rawEmbeddings");
    EXPECT_EQ(refusal(changed("\"isPermanent\":false", "\"isPermanent\":0")), "Invalid speaker field: isPermanent");
}

TEST(SendableSpeaker, TakesTheDecimalIdAsItsNumber) {
    EXPECT_EQ(SendableSpeaker(*speaker("42", voice(0))).id, 42);
    EXPECT_EQ(SendableSpeaker(*speaker("+7", voice(0))).id, 7);
    EXPECT_EQ(SendableSpeaker(*speaker("-7", voice(0))).id, -7);
}

TEST(SendableSpeaker, MakesANumberOfAnyOtherId) {
    for (const std::string id : {"", "abc", " 7", "7 ", "+-7", "++7", "9223372036854775808"}) {
        const SendableSpeaker first(*speaker(id, voice(0)));
        EXPECT_GE(first.id, 0) << id;
        EXPECT_EQ(first.id, SendableSpeaker(*speaker(id, voice(1))).id) << id;
    }
}

TEST(SendableSpeaker, IsASnapshotWithALabel) {
    const Speaker original(voice(4), "3", "Ada", 2.5F, day(6));
    SendableSpeaker snapshot(original);
    EXPECT_EQ(snapshot.duration, 2.5F);
    EXPECT_EQ(snapshot.mainEmbedding, voice(4));
    EXPECT_EQ(snapshot.createdAt, day(6));
    EXPECT_EQ(snapshot.updatedAt, day(6));
    EXPECT_EQ(snapshot.label(), "Ada");
    snapshot.name.clear();
    EXPECT_EQ(snapshot.label(), "Speaker #3");
}

TEST(SpeakerNumber, IsADecimalIntegerAndNothingElse) {
    EXPECT_EQ(speakerNumber("007"), 7);
    EXPECT_EQ(speakerNumber("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    for (const std::string id : {"", "+", "-", "+-1", "1.0", "0x1", "1 ", "9223372036854775808"}) {
        EXPECT_FALSE(speakerNumber(id)) << id;
    }
}

TEST(UUID, IsVersionFourAndReadsBack) {
    EXPECT_TRUE(rc::check([] {
        const UUID fresh = UUID::fresh();
        const std::string text = fresh.text();
        RC_ASSERT(text.size() == 36U);
        RC_ASSERT(text[14] == '4');
        RC_ASSERT(UUID::parse(text) == fresh);
    }));
    EXPECT_EQ(UUID::parse("0f8FAD5b-d9cb-469f-a165-70867728950e")->text(), "0F8FAD5B-D9CB-469F-A165-70867728950E");
    for (const std::string text : {"", "0f8fad5b-d9cb-469f-a165-70867728950", "0f8fad5b-d9cb-469f-a165-70867728950g",
                                   "0f8fad5b0d9cb-469f-a165-70867728950e"}) {
        EXPECT_FALSE(UUID::parse(text)) << text;
    }
}

TEST(EmbeddingMath, NormalisesWhatHasALengthAndLeavesWhatHasNone) {
    EXPECT_NEAR(l2Normalized(std::vector<float>{3, 4})[1], 0.8F, 1e-6);
    EXPECT_EQ(l2Normalized(std::vector<float>{0, 0}), (std::vector<float>{0, 0}));
    EXPECT_TRUE(l2Normalized({}).empty());
    EXPECT_NEAR(l2Normalized(std::vector<float>{1e-13F})[0], 0.1F, 1e-6); // never divides by less than 1e-12
    EXPECT_TRUE(std::isnan(l2Normalized(std::vector<float>{1, infinity})[1]));
    EXPECT_TRUE(std::isnan(l2Normalized(std::vector<float>{1, noNumber})[0]));
}
