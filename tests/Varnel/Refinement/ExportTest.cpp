#include "Varnel/Refinement/Export.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Refinement/GoldenFile.h"
#include "Varnel/Refinement/SampleMeeting.h"
#include "support/EnvironmentScope.h"
#include "support/ErrorText.h"

#include <nlohmann/json.hpp>

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <limits>

namespace Varnel {
namespace {

using Testing::errorText;
using Testing::expectGolden;
using Testing::SampleMeeting;

// Everything that the formats tell apart, out of order.
SampleMeeting richMeeting() {
    SampleMeeting sample(QStringLiteral("Plan: https://example.org/a/b \"Q1\" \\ Zürich 会議"), QStringLiteral("Zoom"),
                         3725.9);
    const auto you = sample.speaker(QStringLiteral("You"), "#3B82F6", true);
    const auto other = sample.speaker(QStringLiteral("Ana María"), "#EC4899");
    sample.speaker(QStringLiteral("Silent"), "#10B981");
    sample.line(3725.9, 3726.25, QStringLiteral("Over an hour."), other);
    sample.line(0, 1.5, QStringLiteral("Good morning."), you);
    sample.line(12.04, 15, QStringLiteral("A \"quoted\" back\\slash, a tab\tand a line\nend."), other);
    sample.line(12.04, 13, QStringLiteral("Second of two that start together \u2028 \u0001."), you);
    sample.line(59.999, 61, QStringLiteral("Nobody said this 🙂"));
    return sample;
}

class ExportFormats : public ::testing::Test {
protected:
    ExportFormats() {
        environment_.set("LC_ALL", "C");
        environment_.set("TZ", "UTC");
    }

private:
    VarnelSpeech::Testing::EnvironmentScope environment_;
};

TEST_F(ExportFormats, MarkdownIsTheGoldenFile) {
    expectGolden(Export::markdown(*richMeeting().meeting).toUtf8(), QStringLiteral("rich.md"));
}

TEST_F(ExportFormats, JsonIsTheGoldenFile) {
    expectGolden(Export::json(*richMeeting().meeting), QStringLiteral("rich.json"));
}

TEST_F(ExportFormats, PlainTextIsTheGoldenFile) {
    expectGolden(Export::plainText(*richMeeting().meeting).toUtf8(), QStringLiteral("rich.txt"));
}

TEST_F(ExportFormats, SrtIsTheGoldenFile) {
    expectGolden(Export::srt(*richMeeting().meeting).toUtf8(), QStringLiteral("rich.srt"));
}

TEST_F(ExportFormats, MarkdownOfAnEmptyMeetingEndsAfterItsHeading) {
    EXPECT_EQ(Export::markdown(*SampleMeeting(QStringLiteral("Empty")).meeting),
              QStringLiteral("# Empty\n\n- **Date:** Mar 5, 2026, 9:04 AM\n- **Duration:** 0:00\n- **Speakers:** \n\n"
                             "## Transcript\n\n"));
}

TEST_F(ExportFormats, PlainTextOfAnEmptyMeetingIsItsHead) {
    EXPECT_EQ(Export::plainText(*SampleMeeting(QStringLiteral("Empty")).meeting),
              QStringLiteral("Empty\nMar 5, 2026, 9:04 AM\nDuration: 0:00\n\n"));
}

TEST_F(ExportFormats, SrtOfAnEmptyMeetingIsNothing) {
    EXPECT_EQ(Export::srt(*SampleMeeting(QStringLiteral("Empty")).meeting), QString());
}

TEST_F(ExportFormats, JsonOfAnEmptyMeetingHasEmptyLists) {
    EXPECT_EQ(Export::json(*SampleMeeting(QStringLiteral("Empty")).meeting), QByteArray(R"({
  "duration" : 0,
  "id" : "AAAAAAAA-BBBB-4CCC-8DDD-000000000001",
  "segments" : [

  ],
  "speakers" : [

  ],
  "startedAt" : "2026-03-05T09:04:59Z",
  "title" : "Empty"
})"));
}

TEST_F(ExportFormats, ASegmentWithoutASpeakerHasNoSpeakerKey) {
    SampleMeeting sample(QStringLiteral("One"));
    sample.line(1, 2.5, QStringLiteral("Hello"));
    EXPECT_TRUE(Export::json(*sample.meeting).contains(R"(
    {
      "endTime" : 2.5,
      "id" : "AAAAAAAA-BBBB-4CCC-8DDD-000000000100",
      "startTime" : 1,
      "text" : "Hello"
    }
)"));
    EXPECT_TRUE(Export::markdown(*sample.meeting).endsWith(QStringLiteral("**[00:01] ?:** Hello\n\n")));
    EXPECT_TRUE(Export::plainText(*sample.meeting).endsWith(QStringLiteral("[00:01] ?: Hello\n")));
    EXPECT_EQ(Export::srt(*sample.meeting), QStringLiteral("1\n00:00:01,000 --> 00:00:02,500\n?: Hello\n\n"));
}

TEST_F(ExportFormats, JsonReadsBackAsWhatTheMeetingHolds) {
    const SampleMeeting sample = richMeeting();
    const auto parsed = nlohmann::json::parse(Export::json(*sample.meeting).toStdString());
    EXPECT_EQ(parsed["title"], sample.meeting->title().toStdString());
    EXPECT_EQ(parsed["duration"], 3725.9);
    EXPECT_EQ(parsed["sourceApp"], "Zoom");
    EXPECT_EQ(parsed["speakers"].size(), 3U);
    EXPECT_EQ(parsed["segments"][0]["text"], "Good morning.");
    EXPECT_EQ(parsed["segments"][0]["speakerID"], parsed["speakers"][0]["id"]);
    EXPECT_EQ(parsed["segments"][2]["text"], "Second of two that start together \u2028 \u0001.");
}

TEST_F(ExportFormats, JsonKeepsEveryTimeExactly) {
    EXPECT_TRUE(rc::check([] {
        const auto start = *rc::gen::arbitrary<double>();
        RC_PRE(std::isfinite(start));
        SampleMeeting sample(QStringLiteral("Times"));
        sample.line(start, 0, QStringLiteral("x"));
        const auto parsed = nlohmann::json::parse(Export::json(*sample.meeting).toStdString());
        RC_ASSERT(parsed["segments"][0]["startTime"].get<double>() == start);
    }));
}

TEST_F(ExportFormats, JsonKeepsEveryTextExactly) {
    EXPECT_TRUE(rc::check([] {
        const auto bytes = *rc::gen::container<std::string>(rc::gen::inRange<char>(1, 127));
        SampleMeeting sample(QString::fromStdString(bytes));
        const auto parsed = nlohmann::json::parse(Export::json(*sample.meeting).toStdString());
        RC_ASSERT(parsed["title"].get<std::string>() == bytes);
    }));
}

TEST_F(ExportFormats, JsonOfATimeThatIsNotFiniteFails) {
    SampleMeeting sample(QStringLiteral("Bad"), {}, std::numeric_limits<double>::infinity());
    EXPECT_EQ(errorText([&] { Export::json(*sample.meeting); }), "a number that is not finite has no JSON form");
    // The texts have no way to fail.
    EXPECT_TRUE(Export::markdown(*sample.meeting).contains(QStringLiteral("- **Duration:** ")));
}

TEST_F(ExportFormats, JsonOfADateBeyondTheCalendarFails) {
    const SampleMeeting sample(QStringLiteral("Bad"));
    sample.meeting->setStartedAt(QDateTime());
    EXPECT_EQ(errorText([&] { Export::json(*sample.meeting); }), "the meeting's date has no ISO 8601 form");
}

TEST_F(ExportFormats, BytesAreThoseOfTheFormat) {
    const SampleMeeting sample = richMeeting();
    const Meeting& meeting = *sample.meeting;
    using Export::Format;
    EXPECT_EQ(Export::bytes(meeting, Format::markdown), Export::markdown(meeting).toUtf8());
    EXPECT_EQ(Export::bytes(meeting, Format::json), Export::json(meeting));
    EXPECT_EQ(Export::bytes(meeting, Format::plainText), Export::plainText(meeting).toUtf8());
    EXPECT_EQ(Export::bytes(meeting, Format::srt), Export::srt(meeting).toUtf8());
}

} // namespace
} // namespace Varnel
