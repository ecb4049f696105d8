#include "Varnel/CommandLine/CommandLineFixture.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/ModelContainer.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <nlohmann/json.hpp>

#include <map>

namespace Varnel::CommandLine {
namespace {

using Json = nlohmann::json;
using Testing::Arguments;

// Two meetings: "Monday" with Ada, Ben and a third voice, "Tuesday" with Ada again.
class SpeakersCommandTest : public Testing::CommandLineFixture {
protected:
    void SetUp() override {
        ModelContainer container(store());
        ModelContext& context = container.mainContext();
        for (const char* title : {"Monday", "Tuesday"}) {
            const auto meeting =
                std::make_shared<Meeting>(QUuid::createUuid(), QString::fromLatin1(title),
                                          QDateTime(QDate(2026, 11, title[0] == 'M' ? 16 : 17), QTime(9, 0), Qt::UTC));
            context.insert(meeting);
            const QStringList names =
                title[0] == 'M' ? QStringList{QStringLiteral("Ada"), QStringLiteral("Ben"), QStringLiteral("Speaker 3")}
                                : QStringList{QStringLiteral("Ada")};
            double time = 0;
            for (const QString& name : names) {
                const auto speaker = std::make_shared<Speaker>(QUuid::createUuid(), name, QStringLiteral("#EC4899"),
                                                               false, Speaker::Embedding{1, 2});
                speaker->setMeeting(meeting);
                const auto line = std::make_shared<TranscriptSegment>(QUuid::createUuid(), time, time + 2,
                                                                      QStringLiteral("This is ") + name, speaker);
                line->setMeeting(meeting);
                time += 10;
            }
        }
        context.save();
    }

    Json list(const Arguments& more = {}) {
        Arguments arguments{"speakers", "list", "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(run(arguments), 0) << error;
        return Json::parse(output);
    }

    // The speaker's object in a list.
    static Json named(const Json& speakers, const char* name) {
        for (const Json& speaker : speakers)
            if (speaker["name"] == name)
                return speaker;
        return {};
    }

    Json meeting(const char* title) {
        EXPECT_EQ(run({"meetings", "list", "--json"}), 0);
        for (const Json& candidate : Json::parse(output))
            if (candidate["title"] == title)
                return candidate;
        return {};
    }

    std::string monday() { return meeting("Monday")["id"]; }

    void succeed(const Arguments& arguments, const std::string& told) {
        EXPECT_EQ(run(arguments), 0) << error;
        EXPECT_EQ(output, "");
        EXPECT_EQ(error, told + "\n");
    }

    void failWith(const Arguments& arguments, const std::string& text) {
        EXPECT_EQ(run(arguments), 1);
        EXPECT_EQ(output, "");
        EXPECT_EQ(error, "varnel: " + text + "\n");
    }
};

TEST_F(SpeakersCommandTest, ListsEverybodyOnce) {
    EXPECT_EQ(run({"speakers", "list"}), 0);
    EXPECT_EQ(output, "NAME       COLOR    MEETINGS    SPOKEN  VOICE  YOU\n"
                      "Ada        #EC4899         2      0:04  kept   -\n"
                      "Ben        #EC4899         1      0:02  kept   -\n"
                      "Speaker 3  #EC4899         1      0:02  kept   -\n");
    EXPECT_EQ(named(list(), "Ada"), (Json{{"name", "Ada"},
                                          {"colorHex", "#EC4899"},
                                          {"isYou", false},
                                          {"hasVoice", true},
                                          {"meetings", 2},
                                          {"secondsSpoken", 4}}));
}

TEST_F(SpeakersCommandTest, ListsTheSpeakersOfOneMeeting) {
    EXPECT_EQ(list({"--meeting", "latest"}).size(), 1U);
    const Json ben = named(list({"--meeting", monday()}), "Ben");
    EXPECT_EQ(ben, (Json{{"id", ben["id"]},
                         {"name", "Ben"},
                         {"colorHex", "#EC4899"},
                         {"isYou", false},
                         {"hasVoice", true},
                         {"secondsSpoken", 2}}));
    EXPECT_EQ(run({"speakers", "list", "--meeting", monday().substr(0, 8)}), 0);
    EXPECT_NE(output.find("Ben        #EC4899  " + ben["id"].get<std::string>().substr(0, 8) + "      0:02"),
              std::string::npos)
        << output;
}

TEST_F(SpeakersCommandTest, ShowsColorsWhereTheyAreSeen) {
    colors = TerminalColors::full;
    EXPECT_EQ(run({"speakers", "list"}), 0);
    EXPECT_NE(output.find("\n\x1b[38;2;236;72;153m● \x1b[39mBen "), std::string::npos) << output;
    EXPECT_EQ(run({"meetings", "show", "latest"}), 0);
    EXPECT_NE(output.find("Speakers: \x1b[38;2;236;72;153mAda\x1b[39m\n"), std::string::npos) << output;
    EXPECT_NE(output.find("[00:00] \x1b[38;2;236;72;153mAda\x1b[39m: This is Ada\n"), std::string::npos) << output;
}

TEST_F(SpeakersCommandTest, SaysThatThereIsNobody) {
    const std::string data = (folder / "empty").string();
    succeed({"speakers", "list", "--data-dir", data}, "No speakers yet");
    EXPECT_EQ(list({"--data-dir", data}), Json::array());
}

TEST_F(SpeakersCommandTest, RenamesEverywhere) {
    succeed({"speakers", "rename", "Ada", " Ada L. "}, "'Ada' is now 'Ada L.' (2 speakers)");
    EXPECT_EQ(named(list(), "Ada L.")["meetings"], 2);
    EXPECT_EQ(named(list(), "Ada"), Json());
    EXPECT_EQ(run({"meetings", "show", "latest"}), 0);
    EXPECT_NE(output.find("[00:00] Ada L.: This is Ada\n"), std::string::npos) << output;
}

TEST_F(SpeakersCommandTest, RenamesInOneMeeting) {
    succeed({"speakers", "rename", "Speaker 3", "Cleo", "--meeting", monday()}, "'Speaker 3' is now 'Cleo' ('Monday')");
    const std::string ada = named(list({"--meeting", monday()}), "Ada")["id"];
    succeed({"speakers", "rename", ada, "Adam", "--meeting", monday()}, "'Ada' is now 'Adam' ('Monday')");
    std::string beginning = named(list({"--meeting", monday()}), "Adam")["id"];
    beginning.resize(20);
    EXPECT_EQ(run({"speakers", "rename", beginning, "Adele", "-m", monday(), "--quiet"}), 0);
    EXPECT_EQ(output + error, "");
}

TEST_F(SpeakersCommandTest, HelpsWithNamesThatNobodyHas) {
    failWith({"speakers", "rename", "ada", "Eve"}, "nobody is called 'ada'; did you mean 'Ada'?");
    failWith({"speakers", "rename", "Speaker 1", "Eve"}, "nobody is called 'Speaker 1'; did you mean 'Speaker 3'?");
    failWith({"speakers", "color", "Zoltan", "teal"}, "nobody is called 'Zoltan' (see 'varnel speakers list')");
    failWith({"speakers", "forget", "Benn"}, "nobody is called 'Benn'; did you mean 'Ben'?");
    failWith({"speakers", "delete", ""}, "nobody is called '' (see 'varnel speakers list')");
    failWith({"speakers", "mark-you", "Bem", "--meeting", monday()},
             "'Monday' has no speaker 'Bem'; did you mean 'Ben'?");
    failWith({"speakers", "mark-you", "\xff\n", "--meeting", "latest"},
             "'Tuesday' has no speaker '\\xFF\\n' (see 'varnel speakers list --meeting ID')");
    failWith({"speakers", "rename", "Ada", "Eve", "--meeting", "Monday"},
             "no meeting is named 'Monday': an id, the beginning of one, or 'latest' is needed (see 'varnel meetings "
             "list')");
}

TEST_F(SpeakersCommandTest, AsksForMoreWhenSeveralAreMeant) {
    succeed({"speakers", "rename", "Ben", "Ada", "--meeting", monday()}, "'Ben' is now 'Ada' ('Monday')");
    EXPECT_EQ(run({"speakers", "mark-you", "Ada", "--meeting", monday()}), 1);
    EXPECT_TRUE(error.starts_with("varnel: 'Ada' may be 2 speakers: ")) << error;
    for (const Json& speaker : list({"--meeting", monday()}))
        if (speaker["name"] == "Ada")
            succeed({"speakers", "mark-you", speaker["id"], "--meeting", monday()}, "'Ada' is you ('Monday')");
}

TEST_F(SpeakersCommandTest, TakesANameBeforeAnIdThatBeginsSo) {
    const std::string ben = named(list({"--meeting", monday()}), "Ben")["id"];
    const std::string beginning = ben.substr(0, 8);
    succeed({"speakers", "rename", "Ada", beginning, "--meeting", monday()},
            "'Ada' is now '" + beginning + "' ('Monday')");
    succeed({"speakers", "mark-you", beginning, "--meeting", monday()}, "'" + beginning + "' is you ('Monday')");
    EXPECT_EQ(named(list({"--meeting", monday()}), "Ben")["isYou"], false);
}

TEST_F(SpeakersCommandTest, Recolors) {
    succeed({"speakers", "color", "Ada", "teal"}, "'Ada' is now #14B8A6 (2 speakers)");
    EXPECT_EQ(named(list({"--meeting", monday()}), "Ada")["colorHex"], "#14B8A6");
    succeed({"speakers", "color", "Ada", "#abcdef"}, "'Ada' is now #ABCDEF (2 speakers)");
    EXPECT_EQ(named(list({"--meeting", "latest"}), "Ada")["colorHex"], "#ABCDEF");
    EXPECT_EQ(named(list(), "Ben")["colorHex"], "#EC4899");
    EXPECT_EQ(run({"speakers", "color", "Ada", "mauve"}), 2);
    EXPECT_EQ(error,
              "varnel: 'mauve' is no color: #RRGGBB or one of pink, green, amber, violet, red, sky, teal, blue is "
              "needed\n");
}

TEST_F(SpeakersCommandTest, ForgetsAVoice) {
    succeed({"speakers", "mark-you", "Ada", "--meeting", monday()}, "'Ada' is you ('Monday')");
    EXPECT_EQ(named(list(), "Ada")["isYou"], true);
    succeed({"speakers", "forget", "Ada"}, "The voice of 'Ada' is forgotten (2 speakers)");
    const Json ada = named(list(), "Ada");
    EXPECT_EQ(ada["hasVoice"], false);
    EXPECT_EQ(ada["isYou"], false);
    EXPECT_EQ(ada["secondsSpoken"], 4) << "the lines stay";
}

TEST_F(SpeakersCommandTest, DeletesASpeakerAndKeepsTheLines) {
    succeed({"speakers", "delete", "Ada"}, "Deleted 'Ada' (2 speakers); what was said stays, without a speaker");
    EXPECT_EQ(list().size(), 2U);
    EXPECT_EQ(run({"meetings", "show", "latest"}), 0);
    EXPECT_NE(output.find("[00:00] ?: This is Ada\n"), std::string::npos) << output;
}

TEST_F(SpeakersCommandTest, MergesTwoSpeakersOfAMeeting) {
    succeed({"speakers", "merge", "Speaker 3", "Ben", "--meeting", monday()},
            "'Speaker 3' was merged into 'Ben': 1 line ('Monday')");
    const Json speakers = list({"--meeting", monday()});
    EXPECT_EQ(speakers.size(), 2U);
    EXPECT_EQ(named(speakers, "Ben")["secondsSpoken"], 4);
    failWith({"speakers", "merge", "Ben", "Ben", "--meeting", monday()}, "'Ben' cannot be merged with itself");
    failWith({"speakers", "merge", "Ben", "Speaker 3", "--meeting", monday()},
             "'Monday' has no speaker 'Speaker 3' (see 'varnel speakers list --meeting ID')");
    EXPECT_EQ(list({"--meeting", monday()}).size(), 2U);
}

TEST_F(SpeakersCommandTest, MarksOneSpeakerOfAMeetingAsYou) {
    succeed({"speakers", "mark-you", "Ada", "--meeting", monday()}, "'Ada' is you ('Monday')");
    succeed({"speakers", "mark-you", "Ben", "--meeting", monday()}, "'Ben' is you ('Monday')");
    EXPECT_EQ(named(list({"--meeting", monday()}), "Ben")["isYou"], true);
    EXPECT_EQ(named(list({"--meeting", monday()}), "Ada")["isYou"], false);
}

TEST_F(SpeakersCommandTest, StandInTheListOfMeetings) {
    EXPECT_EQ(run({"meetings", "list"}), 0);
    EXPECT_NE(output.find("  Tuesday  Ada\n"), std::string::npos) << output;
    EXPECT_NE(output.find("  Monday   Ada, Ben, Speaker 3\n"), std::string::npos) << output;
    EXPECT_EQ(meeting("Monday")["speakers"][1]["name"], "Ben");
}

TEST_F(SpeakersCommandTest, SayWhenTheStoreCannotBeWritten) {
    const std::map<std::string, Arguments> commands{
        {"rename", {"speakers", "rename", "Ada", "Eve"}},
        {"color", {"speakers", "color", "Ada", "teal"}},
        {"forget", {"speakers", "forget", "Ada"}},
        {"delete", {"speakers", "delete", "Ada"}},
        {"merge", {"speakers", "merge", "Ben", "Ada", "--meeting", monday()}},
        {"mark-you", {"speakers", "mark-you", "Ada", "--meeting", monday()}},
    };
    SQLite::Database(store().string(), SQLite::OPEN_READWRITE)
        .exec("CREATE TRIGGER full BEFORE UPDATE ON speakers BEGIN SELECT RAISE(ABORT, 'the disk is full'); END;"
              "CREATE TRIGGER gone BEFORE DELETE ON speakers BEGIN SELECT RAISE(ABORT, 'the disk is full'); END");
    const Json before = list();
    for (const auto& [name, arguments] : commands) {
        EXPECT_EQ(run(arguments), 1) << name;
        EXPECT_NE(error.find("the disk is full"), std::string::npos) << name << error;
        EXPECT_EQ(error.find('\n'), error.size() - 1) << error;
        EXPECT_EQ(list(), before) << name;
    }
}

} // namespace
} // namespace Varnel::CommandLine
