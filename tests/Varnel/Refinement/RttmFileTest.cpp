#include "Varnel/Refinement/RttmFile.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

namespace Varnel {
namespace {

RttmFile parse(const std::string& text) {
    return RttmFile::parse(text, "talk.rttm");
}

// The error's case and its text after the file's name.
std::pair<RttmError::Case, std::string> errorOf(const std::string& text) {
    try {
        parse(text);
    } catch (const RttmError& error) {
        const std::string beginning = "cannot read 'talk.rttm': ";
        EXPECT_TRUE(std::string(error.what()).starts_with(beginning)) << error.what();
        return {error.error(), std::string(error.what()).substr(beginning.size())};
    }
    ADD_FAILURE() << "it was read: " << text;
    return {};
}

TEST(RttmFile, ReadsTheTurnsOfEachRecording) {
    const RttmFile file = parse("SPEAKER one 1 0.600 5.5 <NA> <NA> A <NA> <NA>\n"
                                "SPEAKER two 1 1 2 <NA> <NA> B <NA> <NA>\n"
                                "SPEAKER one 1 3e0 0 <NA> <NA> B 0.98\n");
    ASSERT_EQ(file.turns.size(), 2U);
    EXPECT_EQ(file.turns.at("one"), (std::vector<SpeakerTurn>{{0.6, 6.1, "A"}, {3, 3, "B"}}));
    EXPECT_EQ(file.turns.at("two"), (std::vector<SpeakerTurn>{{1, 3, "B"}}));
}

TEST(RttmFile, IsLenientAboutWhiteSpaceCommentsAndOtherTypes) {
    const RttmFile file = parse("\xef\xbb\xbf;; a comment\r\n"
                                "\n  \t \r\n"
                                ";;SPEAKER broken\n"
                                "SPKR-INFO one 1 <NA> <NA> <NA> unknown A <NA>\n"
                                "LEXEME one 1 0.1 0.2 hello lex A 0.9\n"
                                "\tSPEAKER   one\t1 0 1  <NA> <NA> A <NA> <NA> \r\n"
                                "SPEAKER one 1 1 1 <NA> <NA> B <NA> <NA>"); // no line end
    EXPECT_EQ(file.turns.at("one").size(), 2U);
    EXPECT_TRUE(parse("").turns.empty());
}

TEST(RttmFile, RefusesWhatIsNoLineOfTheFormat) {
    EXPECT_EQ(errorOf(";; header\nGood morning, everyone.\n"),
              (std::pair(RttmError::Case::unknownType, std::string("line 2: 'Good' is no type of line"))));
    EXPECT_EQ(errorOf("speaker one 1 0 1 <NA> <NA> A <NA> <NA>").first, RttmError::Case::unknownType);
    EXPECT_EQ(errorOf(std::string("\0\x1b[2J", 5)).second, "line 1: '\\x00\\x1B[2J' is no type of line");
    EXPECT_LT(errorOf(std::string(100'000, 'x')).second.size(), 100U);
}

TEST(RttmFile, RefusesLinesThatAreCutOff) {
    EXPECT_EQ(
        errorOf("SPEAKER one 1 0.0 1.0 <NA> <NA> A <NA> <NA>\nSPEAKER one 1 0.6"),
        (std::pair(RttmError::Case::wrongFieldCount, std::string("line 2: a SPEAKER line has 9 or 10 fields, not 4"))));
    EXPECT_EQ(errorOf("SPEAKER one 1 0 1 <NA> <NA> A <NA>\nSPEAKER one 1 0 1 <NA> <NA> A B <NA> <NA>").second,
              "line 2: a SPEAKER line has 9 or 10 fields, not 11");
    EXPECT_EQ(errorOf("SPEAKER one 1 0 1 <NA> <NA> <NA> <NA> <NA>"),
              (std::pair(RttmError::Case::noSpeaker, std::string("line 1: it names no speaker"))));
}

TEST(RttmFile, RefusesTimesThatAreNone) {
    const auto withTimes = [](const std::string& start, const std::string& duration) {
        return errorOf("SPEAKER one 1 " + start + " " + duration + " <NA> <NA> A <NA> <NA>\n");
    };
    for (const char* wrong : {"x", "1,5", "1.5s", "<NA>", "0x10", "+1", "--1", "1e999"}) {
        EXPECT_EQ(withTimes("0", wrong),
                  (std::pair(RttmError::Case::badTime,
                             std::string("line 1: its duration '") + wrong + "' is no number of seconds")));
        EXPECT_EQ(withTimes(wrong, "1").second,
                  std::string("line 1: its start '") + wrong + "' is no number of seconds");
    }
    for (const char* wrong : {"-1", "-1e-9", "nan", "inf", "-inf", "1e8"}) {
        EXPECT_EQ(withTimes("0", wrong),
                  (std::pair(RttmError::Case::badTime, std::string("line 1: its duration '") + wrong +
                                                           "' is not between 0 and 10000000 seconds")));
        EXPECT_EQ(withTimes(wrong, "1").first, RttmError::Case::badTime);
    }
    EXPECT_EQ(parse("SPEAKER one 1 10000000 -0 <NA> <NA> A <NA> <NA>").turns.at("one").size(), 1U);
}

TEST(RttmFile, RefusesMoreSpeakersThanAnyRecordingHas) {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += rttmLine("one", {0, 1, std::to_string(i)}) + rttmLine("two", {0, 1, std::to_string(i)});
    EXPECT_EQ(parse(text).turns.at("one").size(), 1000U);
    EXPECT_EQ(errorOf(text + rttmLine("two", {0, 1, "and one more"})),
              (std::pair(RttmError::Case::tooManySpeakers,
                         std::string("line 2001: the recording has more than 1000 speakers"))));
}

TEST(RttmFile, NamesTheFileFitForOneLine) {
    try {
        RttmFile::parse("nonsense", "two\nlines");
        FAIL();
    } catch (const RttmError& error) {
        EXPECT_STREQ(error.what(), "cannot read 'two\\nlines': line 1: 'nonsense' is no type of line");
    }
}

TEST(RttmLine, IsOfTheStandardsForm) {
    EXPECT_EQ(rttmLine("talk", {0.5, 2.25, "1"}), "SPEAKER talk 1 0.500 1.750 <NA> <NA> 1 <NA> <NA>\n");
    EXPECT_EQ(rttmLine("my\ttalk\nof today", {0, 1, "Ada L."}),
              "SPEAKER my_talk_of_today 1 0.000 1.000 <NA> <NA> Ada_L. <NA> <NA>\n");
    EXPECT_EQ(rttmLine("", {0, 1, ""}), "SPEAKER <NA> 1 0.000 1.000 <NA> <NA> <NA> <NA> <NA>\n");
}

TEST(RttmLine, IsReadBack) {
    EXPECT_TRUE(rc::check("a line that was written is read back to the millisecond", [] {
        const double start = *rc::gen::inRange(0, 100'000'000) / 1000.0;
        const double length = *rc::gen::inRange(0, 100'000'000) / 1000.0;
        const RttmFile file = parse(rttmLine("a talk", {start, start + length, "speaker 1"}));
        const SpeakerTurn& turn = file.turns.at("a_talk").at(0);
        RC_ASSERT(std::abs(turn.start - start) < 1e-6);
        RC_ASSERT(std::abs(turn.end - start - length) < 1e-6);
        RC_ASSERT(turn.speaker == "speaker_1");
    }));
}

TEST(RttmFile, StandsAnyText) {
    EXPECT_TRUE(rc::check("a text is read or refused", [] {
        const auto field = rc::gen::element<std::string>("SPEAKER", "one", "1", "0.5", "-3", "nan", "<NA>", "A", "\n",
                                                         ";;", "\r\n", "\xff", "1e300");
        const auto fields = *rc::gen::container<std::vector<std::string>>(field);
        std::string text;
        for (const std::string& word : fields)
            text += word + " ";
        try {
            for (const auto& [recording, turns] : parse(text).turns)
                for (const SpeakerTurn& turn : turns)
                    RC_ASSERT(turn.end >= turn.start);
        } catch (const RttmError&) {
            return;
        }
    }));
}

} // namespace
} // namespace Varnel
