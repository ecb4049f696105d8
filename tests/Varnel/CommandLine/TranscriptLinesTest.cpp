#include "Varnel/CommandLine/TranscriptLines.h"

#include "Varnel/CommandLine/UnsavedMeeting.h"
#include "Varnel/Refinement/Export.h"

#include <gtest/gtest.h>

namespace Varnel::CommandLine {
namespace {

Varnel::Output::Segment segment(double start, const char* text, const char* speaker = "S1") {
    return {start, start + 1, QString::fromUtf8(text), QLatin1String(speaker), {}};
}

UnsavedMeeting meetingOf(std::vector<Varnel::Output::Segment> segments) {
    return {QStringLiteral("Weekly"), QDateTime(QDate(2026, 11, 21), QTime(9, 0), Qt::UTC), {std::move(segments), 60}};
}

TEST(TranscriptLines, AreInTheOrderOfTime) {
    const auto unsaved = meetingOf({segment(5, "second", "B"), segment(3725.9, "third"), segment(1, "first")});
    std::vector<std::string> lines;
    for (const auto& line : segmentsInOrder(unsaved.meeting()))
        lines.push_back(transcriptLine(*line));
    EXPECT_EQ(lines, (std::vector<std::string>{"[00:01] Speaker 2: first", "[00:05] Speaker 1: second",
                                               "[62:05] Speaker 2: third"}));
}

TEST(TranscriptLines, HarmNoTerminal) {
    const auto unsaved = meetingOf({segment(0, "a\x1b[31m b\nc")});
    EXPECT_EQ(transcriptLine(*unsaved.meeting().segments().front()), "[00:00] Speaker 1: a\\x1B[31m b\\nc");
}

TEST(TranscriptLines, ShowTheNameInItsColor) {
    const auto unsaved = meetingOf({segment(0, "hello"), segment(9, "goodbye", "S2")});
    EXPECT_EQ(transcriptLine(*unsaved.meeting().segments().back(), TerminalColors::full),
              "[00:09] \x1b[38;2;16;185;129mSpeaker 2\x1b[39m: goodbye");
    EXPECT_EQ(speakerNames(unsaved.meeting()), "Speaker 1, Speaker 2");
}

TEST(ColoredTranscript, IsThePlainTextWithColors) {
    const auto unsaved = meetingOf({segment(5, "second", "B"), segment(0, "first", "A")});
    const QString plain = Export::plainText(unsaved.meeting());
    EXPECT_EQ(coloredTranscript(unsaved.meeting(), TerminalColors::none), plain.toStdString());
    EXPECT_NE(coloredTranscript(unsaved.meeting(), TerminalColors::indexed)
                  .find("[00:00] \x1b[38;5;204mSpeaker 1\x1b[39m: first\n"),
              std::string::npos);
}

TEST(ColoredTranscript, HarmsNoTerminal) {
    const UnsavedMeeting unsaved(QStringLiteral("a\x1b[2J b"), QDateTime::currentDateTimeUtc(), {});
    EXPECT_TRUE(coloredTranscript(unsaved.meeting(), TerminalColors::full).starts_with("a\\x1B[2J b\n"));
}

TEST(SearchHint, IsTheFirstLineThatMatches) {
    const auto unsaved = meetingOf({segment(9, "The Budget again"), segment(4, "the budget first")});
    EXPECT_EQ(searchHint(unsaved.meeting(), QStringLiteral("budget")), "[00:04] Speaker 1: the budget first");
}

TEST(SearchHint, ShowsWhatStandsAroundTheMatchInALongLine) {
    std::string text(300, 'a');
    text.append(" the Budget ").append(300, 'b');
    const auto unsaved = meetingOf({segment(0, text.c_str())});
    EXPECT_EQ(searchHint(unsaved.meeting(), QStringLiteral("budget")),
              "[00:00] Speaker 1: ..." + std::string(35, 'a') + " the Budget " + std::string(73, 'b') + "...");
}

TEST(SearchHint, NamesWhatElseMatches) {
    const auto unsaved = meetingOf({segment(0, "nothing")});
    EXPECT_EQ(searchHint(unsaved.meeting(), QStringLiteral("speaker")), "speaker Speaker 1");
    EXPECT_EQ(searchHint(unsaved.meeting(), QStringLiteral("week")), "in the title");
}

TEST(DateText, IsInTheMachinesTimeZone) {
    const QDateTime date(QDate(2026, 11, 21), QTime(9, 5), Qt::LocalTime);
    EXPECT_EQ(dateText(date.toUTC()), "2026-11-21 09:05");
}

} // namespace
} // namespace Varnel::CommandLine
