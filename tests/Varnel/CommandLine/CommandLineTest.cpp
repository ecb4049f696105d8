#include "Varnel/CommandLine/CommandLineFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>

namespace Varnel::CommandLine {
namespace {

using Testing::Arguments;

class CommandLineTest : public Testing::CommandLineFixture {};

TEST_F(CommandLineTest, ExplainsEveryCommandWithAnExample) {
    for (const Arguments& command : std::vector<Arguments>{{},
                                                           {"transcribe"},
                                                           {"meetings"},
                                                           {"meetings", "list"},
                                                           {"meetings", "show"},
                                                           {"meetings", "search"},
                                                           {"meetings", "export"},
                                                           {"meetings", "rename"},
                                                           {"meetings", "delete"},
                                                           {"meetings", "retranscribe"},
                                                           {"speakers"},
                                                           {"speakers", "list"},
                                                           {"speakers", "rename"},
                                                           {"speakers", "color"},
                                                           {"speakers", "forget"},
                                                           {"speakers", "delete"},
                                                           {"speakers", "merge"},
                                                           {"speakers", "mark-you"},
                                                           {"diarize"},
                                                           {"ai"},
                                                           {"ai", "run"},
                                                           {"ai", "ping"},
                                                           {"ai", "provider"},
                                                           {"models"},
                                                           {"models", "list"},
                                                           {"models", "path"},
                                                           {"models", "verify"},
                                                           {"models", "fetch"},
                                                           {"models", "use"},
                                                           {"settings"},
                                                           {"settings", "list"},
                                                           {"settings", "get"},
                                                           {"settings", "set"},
                                                           {"eval"},
                                                           {"eval", "wer"},
                                                           {"eval", "der"},
                                                           {"doctor"}}) {
        Arguments arguments = command;
        arguments.emplace_back("--help");
        std::string name = "varnel";
        for (const auto& word : command)
            name += " " + word;
        EXPECT_EQ(run(arguments), 0) << name;
        EXPECT_NE(output.find("Usage: " + name + " "), std::string::npos) << output;
        EXPECT_NE(output.find("Examples:\n  " + name), std::string::npos) << output;
        EXPECT_NE(output.find("--data-dir DIR"), std::string::npos) << name;
        EXPECT_EQ(error, "") << name;
    }
}

TEST_F(CommandLineTest, TellsItsVersion) {
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_THAT(output, testing::MatchesRegex("varnel [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandLineTest, RefusesWrongUsageOnOneLine) {
    for (const Arguments& arguments : std::vector<Arguments>{{},
                                                             {"nonsense"},
                                                             {"transcribe"},
                                                             {"transcribe", "a.wav", "--format", "pdf"},
                                                             {"transcribe", "a.wav", "--output", ""},
                                                             {"transcribe", "a.wav", "--unknown"},
                                                             {"meetings"},
                                                             {"meetings", "list", "--limit", "many"},
                                                             {"meetings", "list", "--limit", "-1"},
                                                             {"meetings", "show"},
                                                             {"meetings", "export", "1", "2"},
                                                             {"meetings", "rename", "latest"},
                                                             {"meetings", "rename", "latest", " \t\n"},
                                                             {"meetings", "rename", "latest", "\xff"},
                                                             {"meetings", "delete"},
                                                             {"meetings", "retranscribe"},
                                                             {"speakers"},
                                                             {"speakers", "rename", "Ada"},
                                                             {"speakers", "rename", "Ada", " "},
                                                             {"speakers", "color", "Ada", "mauve"},
                                                             {"speakers", "color", "Ada", "#12345G"},
                                                             {"speakers", "merge", "Ada", "Ben"},
                                                             {"speakers", "mark-you", "Ada"},
                                                             {"diarize"},
                                                             {"diarize", "a.wav", "--rttm", "--json"},
                                                             {"diarize", "a.wav", "--embeddings"},
                                                             {"eval", "der", "a"},
                                                             {"eval", "der", "-", "-"},
                                                             {"eval", "der", "a", "b", "--collar", "-1"},
                                                             {"eval", "der", "a", "b", "--collar", "nan"},
                                                             {"eval", "der", "a", "b", "--collar", "wide"},
                                                             {"models", "fetch", "--set", "tts"},
                                                             {"settings", "get"},
                                                             {"settings", "set", "aiEnabled"},
                                                             {"settings", "set", "aiEnabled", "maybe"},
                                                             {"settings", "set", "language", "\xff"},
                                                             {"eval", "wer", "a"},
                                                             {"eval", "wer", "-", "-"},
                                                             {"doctor", "extra\nline"}}) {
        EXPECT_EQ(run(arguments), 2) << ::testing::PrintToString(arguments);
        EXPECT_TRUE(error.starts_with("varnel: ")) << error;
        EXPECT_EQ(error.find('\n'), error.size() - 1) << error;
        EXPECT_EQ(output, "");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / ".local/share/Varnel/Varnel.store")) << "nothing was touched";
}

TEST_F(CommandLineTest, PointsToTheHelpOfTheCommandInQuestion) {
    EXPECT_EQ(run({"meetings", "show"}), 2);
    EXPECT_EQ(error, "varnel: MEETING is required (see 'varnel meetings show --help')\n");
}

TEST_F(CommandLineTest, TakesGlobalOptionsBeforeAndAfterTheCommand) {
    const std::string data = (folder / "data").string();
    EXPECT_EQ(run({"--data-dir", data, "meetings", "list", "--quiet"}), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "data/Varnel.store"));
    std::filesystem::remove_all(data);
    EXPECT_EQ(run({"meetings", "--data-dir", data, "list"}), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "data/Varnel.store"));
    std::filesystem::remove_all(data);
    EXPECT_EQ(run({"-q", "meetings", "list", "--data-dir", data}), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "data/Varnel.store"));
}

TEST_F(CommandLineTest, SaysThatThereAreNoMeetingsUnlessItIsToBeQuiet) {
    EXPECT_EQ(run({"meetings", "list"}), 0);
    EXPECT_EQ(output, "");
    EXPECT_EQ(error, "No meetings yet\n");
    EXPECT_EQ(run({"meetings", "list", "-q"}), 0);
    EXPECT_EQ(error, "");
    EXPECT_EQ(run({"meetings", "list", "--json"}), 0);
    EXPECT_EQ(output, "[]\n");
}

TEST_F(CommandLineTest, GetsAndSetsSettings) {
    EXPECT_EQ(run({"settings", "get", "appearance"}), 0);
    EXPECT_EQ(output, "system\n");
    EXPECT_EQ(run({"settings", "set", "appearance", "dark"}), 0);
    EXPECT_EQ(output + error, "");
    EXPECT_EQ(run({"settings", "get", "appearance"}), 0);
    EXPECT_EQ(output, "dark\n");
    EXPECT_EQ(run({"settings", "set", "aiEnabled", "true"}), 0);
    EXPECT_EQ(run({"settings", "get", "aiEnabled", "--json"}), 0);
    EXPECT_EQ(nlohmann::json::parse(output), (nlohmann::json{{"aiEnabled", true}}));
}

TEST_F(CommandLineTest, ReadsASettingsValueFromStandardInput) {
    EXPECT_EQ(run({"settings", "set", "aiAPIKey", "-"}, "sk-secret\n"), 0);
    EXPECT_EQ(run({"settings", "get", "aiAPIKey"}), 0);
    EXPECT_EQ(output, "sk-secret\n") << "one line end at its end is left out";
    EXPECT_EQ(run({"settings", "set", "aiAPIKey", "-"}, "sk-other\r\n"), 0);
    EXPECT_EQ(run({"settings", "get", "aiAPIKey"}), 0);
    EXPECT_EQ(output, "sk-other\n") << "of either kind";
    EXPECT_EQ(run({"settings", "set", "storagePath", "-"}, " two\nlines \n\n"), 0);
    EXPECT_EQ(run({"settings", "get", "storagePath"}), 0);
    EXPECT_EQ(output, " two\nlines \n\n");
}

TEST_F(CommandLineTest, MasksSecretsInLists) {
    EXPECT_EQ(run({"settings", "list", "--json"}), 0);
    EXPECT_EQ(nlohmann::json::parse(output)["aiAPIKey"], "") << "that there is none may be seen";
    EXPECT_EQ(run({"settings", "set", "aiAPIKey", "sk-secret"}), 0);
    EXPECT_EQ(run({"settings", "list"}), 0);
    EXPECT_NE(output.find("\naiAPIKey                         ********\n"), std::string::npos) << output;
    EXPECT_EQ(output.find("sk-secret"), std::string::npos);
    EXPECT_EQ(run({"settings", "list", "--json"}), 0);
    EXPECT_EQ(output.find("sk-secret"), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(output).size(), 15U);
}

TEST_F(CommandLineTest, HelpsWithAMisspeltSetting) {
    EXPECT_EQ(run({"settings", "get", "apearance"}), 2);
    EXPECT_EQ(error, "varnel: there is no setting 'apearance'; did you mean appearance?\n");
    EXPECT_EQ(run({"settings", "set", "volume", "11"}), 2);
    EXPECT_EQ(error, "varnel: there is no setting 'volume' (see 'varnel settings list')\n");
}

TEST_F(CommandLineTest, KeepsTheModelSetOutOfTheSettingsTable) {
    std::filesystem::create_directories(folder / "mine");
    EXPECT_EQ(run({"models", "use", (folder / "mine").string()}), 0);
    EXPECT_EQ(run({"models", "path"}), 0);
    EXPECT_EQ(output, (folder / "mine").string() + "\n");
    EXPECT_EQ(run({"settings", "list"}), 0);
    EXPECT_EQ(output.find("modelSet"), std::string::npos);
    EXPECT_EQ(run({"settings", "get", "modelSet"}), 2);
}

TEST_F(CommandLineTest, NeverLogsAKey) {
    EXPECT_EQ(run({"settings", "set", "aiAPIKey", "sk-secret", "--verbose"}), 0);
    std::ifstream log(folder / ".local/state/Varnel/varnel.log");
    ASSERT_TRUE(log.is_open());
    const std::string text(std::istreambuf_iterator<char>(log), {});
    EXPECT_EQ(text.find("sk-secret"), std::string::npos);
    EXPECT_EQ(error.find("sk-secret"), std::string::npos);
}

TEST_F(CommandLineTest, MeasuresWordErrors) {
    std::ofstream(folder / "reference.txt") << "Good morning, everyone.\nLet's begin with the list.";
    std::ofstream(folder / "hypothesis.txt") << "good mourning everyone begin with the list now";
    const Arguments files{(folder / "reference.txt").string(), (folder / "hypothesis.txt").string()};
    EXPECT_EQ(run({"eval", "wer", files[0], files[1]}), 0);
    EXPECT_EQ(output, "WER 37.50%  (3 errors in 8 words: 1 substituted, 1 deleted, 1 inserted)\n");
    EXPECT_EQ(run({"eval", "wer", files[0], "-", "--json"}, "good morning everyone let's begin with the list"), 0);
    EXPECT_EQ(nlohmann::json::parse(output), (nlohmann::json{{"wordErrorRate", 0},
                                                             {"errors", 0},
                                                             {"substitutions", 0},
                                                             {"deletions", 0},
                                                             {"insertions", 0},
                                                             {"referenceWords", 8},
                                                             {"hypothesisWords", 8}}));
    EXPECT_EQ(run({"eval", "wer", files[0], (folder / "absent").string()}), 1);
    EXPECT_EQ(error, "varnel: cannot read '" + (folder / "absent").string() + "': No such file or directory\n");
    EXPECT_EQ(run({"eval", "wer", folder.path().string(), files[1]}), 1);
    EXPECT_EQ(error, "varnel: cannot read '" + folder.path().string() + "': is a directory\n");
}

} // namespace
} // namespace Varnel::CommandLine
