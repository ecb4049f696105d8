#include "Varnel/CommandLine/CommandLineFixture.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace Varnel::CommandLine {
namespace {

class EvalDerCommandTest : public Testing::CommandLineFixture {
protected:
    std::string file(const std::string& name, const std::string& text) {
        std::ofstream(folder / name) << text;
        return (folder / name).string();
    }

    static std::string line(const char* recording, const char* start, const char* duration, const char* speaker) {
        return std::string("SPEAKER ") + recording + " 1 " + start + " " + duration + " <NA> <NA> " + speaker +
               " <NA> <NA>\n";
    }

    const std::string reference = file("reference.rttm", line("talk", "0", "10", "A") + line("talk", "10", "10", "B"));
    const std::string hypothesis =
        file("hypothesis.rttm", line("talk", "0.2", "11", "1") + line("talk", "11.2", "9", "2"));
};

TEST_F(EvalDerCommandTest, TellsTheErrorAndTheSpeakers) {
    EXPECT_EQ(run({"eval", "der", reference, hypothesis}), 0);
    EXPECT_EQ(output, "DER 8.00%  (1.6 s of 20.0 s: 0.2 s missed, 0.2 s false alarm, 1.2 s confused)\n"
                      "Speakers: 2 in the reference, 2 in the hypothesis\n");
    EXPECT_EQ(run({"eval", "der", reference, hypothesis, "--collar", "0.25"}), 0);
    EXPECT_EQ(output, "DER 5.00%  (0.9 s of 19.0 s: 0.0 s missed, 0.0 s false alarm, 0.9 s confused)\n"
                      "Speakers: 2 in the reference, 2 in the hypothesis\n");
}

TEST_F(EvalDerCommandTest, PrintsJson) {
    EXPECT_EQ(run({"eval", "der", reference, "-", "--json", "--collar", "0.5"}, line("talk", "0", "20", "1")), 0);
    const auto json = nlohmann::json::parse(output);
    EXPECT_EQ(json, (nlohmann::json{{"diarizationErrorRate", 0.5},
                                    {"missedSeconds", 0},
                                    {"falseAlarmSeconds", 0},
                                    {"confusedSeconds", 9},
                                    {"referenceSeconds", 18},
                                    {"referenceSpeakers", 2},
                                    {"hypothesisSpeakers", 1},
                                    {"collarSeconds", 0.5},
                                    {"overlapScored", true},
                                    {"recordings", json["recordings"]}}));
    ASSERT_EQ(json["recordings"].size(), 1U);
    EXPECT_EQ(json["recordings"][0]["recording"], "talk");
    EXPECT_EQ(json["recordings"][0]["confusedSeconds"], 9);
}

TEST_F(EvalDerCommandTest, LeavesOverlapsOutWhenToldTo) {
    const std::string overlapping = file("overlapping.rttm", line("talk", "0", "6", "A") + line("talk", "4", "6", "B"));
    const std::string lacking = file("lacking.rttm", line("talk", "0", "4", "1") + line("talk", "4", "6", "2"));
    EXPECT_EQ(run({"eval", "der", overlapping, lacking}), 0);
    EXPECT_TRUE(output.starts_with("DER 16.67%  (2.0 s of 12.0 s: 2.0 s missed")) << output;
    EXPECT_EQ(run({"eval", "der", overlapping, lacking, "--skip-overlap"}), 0);
    EXPECT_TRUE(output.starts_with("DER 0.00%  (0.0 s of 8.0 s: ")) << output;
}

TEST_F(EvalDerCommandTest, PoolsRecordings) {
    const std::string two = file("two.rttm", line("one", "0", "10", "A") + line("two", "0", "30", "A"));
    EXPECT_EQ(run({"eval", "der", two, "-"}, line("two", "0", "30", "x") + line("three", "5", "2", "x")), 0);
    EXPECT_EQ(output, "     DER     MISSED      FALSE   CONFUSED         OF  SPEAKERS  RECORDING\n"
                      " 100.00%     10.0 s      0.0 s      0.0 s     10.0 s    0 of 1  one\n"
                      " 100.00%      0.0 s      2.0 s      0.0 s      0.0 s    1 of 0  three\n"
                      "   0.00%      0.0 s      0.0 s      0.0 s     30.0 s    1 of 1  two\n"
                      "\n"
                      "DER 30.00%  (12.0 s of 40.0 s: 10.0 s missed, 2.0 s false alarm, 0.0 s confused)\n"
                      "Speakers: 2 in the reference, 2 in the hypothesis\n");
    EXPECT_EQ(error, "The hypothesis has nothing of the recording 'one'\n"
                     "The reference has nothing of the recording 'three'\n");
}

TEST_F(EvalDerCommandTest, TakesAnEmptyHypothesisForSilence) {
    EXPECT_EQ(run({"eval", "der", reference, "-", "-q"}, ";; nobody spoke\n"), 0);
    EXPECT_TRUE(output.starts_with("DER 100.00%  (20.0 s of 20.0 s: 20.0 s missed")) << output;
}

TEST_F(EvalDerCommandTest, RefusesFilesOfDifferentRecordings) {
    EXPECT_EQ(run({"eval", "der", reference, "-"}, line("walk", "0", "1", "A")), 1);
    EXPECT_EQ(output, "");
    EXPECT_EQ(error, "varnel: the files are of different recordings: 'talk' and 'walk'\n");
}

TEST_F(EvalDerCommandTest, SaysWhichLineIsBroken) {
    EXPECT_EQ(run({"eval", "der", reference, "-"}, "\n" + line("talk", "0", "-1", "A")), 1);
    EXPECT_EQ(error, "varnel: cannot read 'standard input': line 2: its duration '-1' is not between 0 and 10000000 "
                     "seconds\n");
    const std::string broken = file("broken.rttm", "Good morning\n");
    EXPECT_EQ(run({"eval", "der", broken, hypothesis}), 1);
    EXPECT_EQ(error, "varnel: cannot read '" + broken + "': line 1: 'Good' is no type of line\n");
    EXPECT_EQ(run({"eval", "der", (folder / "absent").string(), hypothesis}), 1);
    EXPECT_EQ(error, "varnel: cannot read '" + (folder / "absent").string() + "': No such file or directory\n");
}

TEST_F(EvalDerCommandTest, ReadsTheReferenceOfTheSample) {
    const std::string sample = VARNEL_SOURCE_DIR "/samples/conversation.rttm";
    EXPECT_EQ(run({"eval", "der", sample, sample}), 0);
    EXPECT_TRUE(output.starts_with("DER 0.00%")) << output;
    EXPECT_NE(output.find("Speakers: 2 in the reference, 2 in the hypothesis"), std::string::npos) << output;
}

} // namespace
} // namespace Varnel::CommandLine
