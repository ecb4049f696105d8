#include "Varnel/CommandLine/DiarizationText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Varnel::CommandLine {
namespace {

const VarnelSpeech::DiarizationResult result{
    {{"id-1", "2", {0.1F, -2}, 0.5F, 3.25F, 0.75F}, {"id-2", "1", {}, 3, 3725.9F, 1.5F}, {"id-3", "2", {}, 2, 2.5F, 1}},
    {}};

TEST(DiarizationTable, HasARowASegmentAndWhoSpokeHowLong) {
    EXPECT_EQ(diarizationTable(result, TerminalColors::none), "     START         END  SECONDS  SPEAKER\n"
                                                              "0:00:00.50  0:00:03.25     2.75  2\n"
                                                              "0:00:02.00  0:00:02.50     0.50  2\n"
                                                              "0:00:03.00  1:02:05.90  3722.90  1\n"
                                                              "\n"
                                                              "2 speakers: 1 (3722.9 s), 2 (3.2 s)\n");
}

TEST(DiarizationTable, HasTheColorsThatAMeetingWouldHave) {
    const std::string table = diarizationTable(result, TerminalColors::full);
    EXPECT_NE(table.find("\x1b[38;2;236;72;153m1\x1b[39m\n"), std::string::npos) << table;
    EXPECT_NE(table.find("\x1b[38;2;16;185;129m2\x1b[39m\n"), std::string::npos) << table;
}

TEST(DiarizationTable, ObeysNobodyInASpeakersName) {
    EXPECT_NE(diarizationTable({{{"id", "\x1b[2J", {}, 0, 1, 1}}, {}}, TerminalColors::none).find("\\x1B[2J\n"),
              std::string::npos);
}

TEST(DiarizationRttm, HasALineASegment) {
    EXPECT_EQ(diarizationRttm(result, "my talk"), "SPEAKER my_talk 1 0.500 2.750 <NA> <NA> 2 <NA> <NA>\n"
                                                  "SPEAKER my_talk 1 2.000 0.500 <NA> <NA> 2 <NA> <NA>\n"
                                                  "SPEAKER my_talk 1 3.000 3722.900 <NA> <NA> 1 <NA> <NA>\n");
    EXPECT_EQ(diarizationRttm({}, "talk"), "");
}

TEST(DiarizationJson, HasTheSegmentsFields) {
    EXPECT_EQ(diarizationJson(result, Embeddings::leftOut).dump(),
              R"([{"id":"id-1","speakerId":"2","startTimeSeconds":0.5,"endTimeSeconds":3.25,"qualityScore":0.75},)"
              R"({"id":"id-3","speakerId":"2","startTimeSeconds":2.0,"endTimeSeconds":2.5,"qualityScore":1.0},)"
              R"({"id":"id-2","speakerId":"1","startTimeSeconds":3.0,"endTimeSeconds":3725.9,"qualityScore":1.5}])");
    EXPECT_EQ(diarizationJson(result, Embeddings::included)[0]["embedding"].dump(), "[0.1,-2.0]");
    EXPECT_EQ(diarizationJson({}, Embeddings::leftOut).dump(), "[]");
}

} // namespace
} // namespace Varnel::CommandLine
