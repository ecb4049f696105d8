#include "Varnel/CommandLine/CommandLineFixture.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/ModelContainer.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace Varnel::CommandLine {
namespace {

using Json = nlohmann::json;

// Renaming, deleting and, without a recording, transcribing again.
class MeetingsEditingTest : public Testing::CommandLineFixture {
protected:
    std::string addMeeting(const char* title, const std::optional<std::filesystem::path>& audio = {},
                           const std::optional<std::filesystem::path>& systemAudio = {}) {
        const auto text = [](const std::optional<std::filesystem::path>& path) {
            return path ? std::optional(QString::fromStdString(path->string())) : std::nullopt;
        };
        ModelContainer container(store());
        const auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), QString::fromUtf8(title),
                                                       QDateTime(QDate(2026, 11, 16), QTime(9, ++count_), Qt::UTC),
                                                       std::nullopt, text(audio), text(systemAudio));
        container.mainContext().insert(meeting);
        container.mainContext().save();
        return Varnel::text(meeting->id()).toStdString();
    }

    std::filesystem::path addFile(const std::filesystem::path& file) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "sound";
        return file;
    }

    std::vector<std::string> titles() {
        EXPECT_EQ(run({"meetings", "list", "--json"}), 0);
        std::vector<std::string> result;
        for (const Json& meeting : Json::parse(output))
            result.push_back(meeting["title"]);
        return result;
    }

private:
    int count_ = 0;
};

TEST_F(MeetingsEditingTest, RenamesAMeeting) {
    const std::string id = addMeeting("Untitled");
    EXPECT_EQ(run({"meetings", "rename", id.substr(0, 8), "  Open day  "}), 0);
    EXPECT_EQ(output, "");
    EXPECT_EQ(error, "'Untitled' is now 'Open day'\n");
    EXPECT_EQ(titles(), std::vector<std::string>{"Open day"});
    EXPECT_EQ(run({"meetings", "rename", "latest", " \n"}), 2);
    EXPECT_EQ(error, "varnel: the title cannot be blank\n");
    EXPECT_EQ(run({"meetings", "rename", "latest", "\xff"}), 2);
    EXPECT_EQ(error, "varnel: the title is no text\n");
    EXPECT_EQ(titles(), std::vector<std::string>{"Open day"});
}

TEST_F(MeetingsEditingTest, DeletesAMeetingWithItsAudio) {
    const auto audio = addFile(recordings() / "one-mic.wav");
    const auto system = addFile(recordings() / "one-system.wav");
    const std::string id = addMeeting("One", audio, system);
    addMeeting("Two");
    EXPECT_EQ(run({"meetings", "delete", id, "--yes"}), 0) << error;
    EXPECT_EQ(error, "Deleted 'One' and its audio '" + audio.string() + "'; the other side's audio '" +
                         system.string() + "' stays\n");
    EXPECT_FALSE(std::filesystem::exists(audio));
    EXPECT_TRUE(std::filesystem::exists(system));
    EXPECT_EQ(titles(), std::vector<std::string>{"Two"});
}

TEST_F(MeetingsEditingTest, DeletesNoFileFromElsewhere) {
    const auto audio = addFile(folder / "music/song.wav");
    const std::string id = addMeeting("One", audio);
    EXPECT_EQ(run({"meetings", "delete", id, "--yes"}), 0) << error;
    EXPECT_EQ(error,
              "Deleted 'One'; its audio '" + audio.string() + "' stays: it lies elsewhere, or cannot be deleted\n");
    EXPECT_TRUE(std::filesystem::exists(audio));
    EXPECT_EQ(run({"meetings", "delete", addMeeting("Two", "/dev/null"), "--yes"}), 0) << error;
    EXPECT_TRUE(std::filesystem::exists("/dev/null"));
}

TEST_F(MeetingsEditingTest, DeletesSeveralEachOnce) {
    const std::string one = addMeeting("One");
    const std::string two = addMeeting("Two", recordings() / "gone-mic.wav");
    addMeeting("Three");
    EXPECT_EQ(run({"meetings", "delete", one, two, one, "-y"}), 0) << error;
    EXPECT_EQ(error, "Deleted 'One'\nDeleted 'Two'\n");
    EXPECT_EQ(titles(), std::vector<std::string>{"Three"});
}

TEST_F(MeetingsEditingTest, DeletesNothingWhenOneOfThemIsUnknown) {
    const std::string one = addMeeting("One");
    EXPECT_EQ(run({"meetings", "delete", one, "nonsense", "--yes"}), 1);
    EXPECT_EQ(titles(), std::vector<std::string>{"One"});
}

TEST_F(MeetingsEditingTest, AsksBeforeItDeletes) {
    const std::string one = addMeeting("One");
    EXPECT_EQ(run({"meetings", "delete", one}, "y\n"), 1) << "there is no terminal";
    EXPECT_EQ(error, "varnel: there is nobody to ask: --yes says yes in advance\n");
    isTerminal = true;
    for (const char* answer : {"", "\n", "n\n", "yep\n", "no, yes\n"}) {
        EXPECT_EQ(run({"meetings", "delete", one}, answer), 1);
        EXPECT_EQ(error, "Delete 'One' with its audio? [y/N] varnel: nothing was changed\n");
    }
    EXPECT_EQ(titles(), std::vector<std::string>{"One"});
    EXPECT_EQ(run({"meetings", "delete", one}, " YES \n"), 0) << error;
    EXPECT_EQ(titles(), std::vector<std::string>());
    const std::string two = addMeeting("Two\x1b[2J");
    const std::string three = addMeeting("Three");
    EXPECT_EQ(run({"meetings", "delete", two, three, "-q"}, "y\n"), 0);
    EXPECT_EQ(error, "Delete 2 meetings with their audio? [y/N] ");
}

TEST_F(MeetingsEditingTest, MarksTheTitleWhereThereIsNothingToTranscribe) {
    addMeeting("One", recordings() / "gone-mic.wav");
    EXPECT_EQ(run({"meetings", "retranscribe", "latest"}), 1);
    EXPECT_EQ(error, "varnel: there is no recording of 'One' on this machine to transcribe; its title is "
                     "'One (re-transcribed)' now\n");
    EXPECT_EQ(run({"meetings", "retranscribe", "latest"}), 1);
    EXPECT_EQ(titles(), std::vector<std::string>{"One (re-transcribed)"}) << "one mark, not two";
}

} // namespace
} // namespace Varnel::CommandLine
