#include "EndToEnd/Sandbox.h"

#include "Varnel/Models/ModelContainer.h"
#include "support/EventLoop.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace Varnel::Testing {
namespace {

// A store in every bad state that a store can be in: one clear line, and the file as it was.
class StoreTest : public Sandbox {
protected:
    void SetUp() override { makeStore(3); }

    void makeStore(int meetings) {
        ModelContainer container(store());
        for (int i = 0; i < meetings; ++i) {
            auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Meeting %1").arg(i),
                                                     QDateTime(QDate(2026, 11, 21), QTime(9, i % 60), Qt::UTC));
            container.mainContext().insert(meeting);
            auto speaker =
                std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("Ada"), QStringLiteral("#EC4899"), false);
            container.mainContext().insert(speaker);
            speaker->setMeeting(meeting);
            for (int line = 0; line < 40; ++line) {
                auto segment = std::make_shared<TranscriptSegment>(
                    QUuid::createUuid(), line, line + 1, QStringLiteral("Line %1 of meeting %2").arg(line).arg(i),
                    speaker);
                container.mainContext().insert(segment);
                segment->setMeeting(meeting);
            }
        }
        container.mainContext().save();
    }

    void execute(const std::string& statement) {
        SQLite::Database(store().string(), SQLite::OPEN_READWRITE).exec(statement);
    }
};

TEST_F(StoreTest, OfAFutureVersionIsRefusedAndLeftAlone) {
    execute("PRAGMA user_version = 2000000000; PRAGMA wal_checkpoint(TRUNCATE)");
    const std::string before = contentsOf(store());
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"meetings", "list"}, {"meetings", "show", "latest"}})
        EXPECT_TRUE(failure(arguments).starts_with("Failed to create ModelContainer: "));
    EXPECT_EQ(contentsOf(store()), before);
    const Finished doctor = run({"doctor"});
    EXPECT_EQ(doctor.exitCode, 1);
    EXPECT_NE(doctor.out.find("Use the newer version of Varnel that wrote it."), std::string::npos) << doctor.out;
}

TEST_F(StoreTest, ThatIsLockedIsToldAfterAWhile) {
    SQLite::Database other(store().string(), SQLite::OPEN_READWRITE);
    other.exec("BEGIN IMMEDIATE");
    EXPECT_EQ(linesOf(output({"meetings", "list"})).size(), 4U) << "reading goes on";
    writeSpeech(path("talk.wav"), 2);
    const Finished finished = run({"transcribe", "--save", "--no-diarization", "talk.wav"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(linesOf(finished.out).size(), 1U) << "the transcript is not lost";
    ASSERT_EQ(linesOf(finished.err).size(), 1U) << finished.err;
    EXPECT_TRUE(finished.err.starts_with("varnel: 'talk.wav' was not saved: ")) << finished.err;
    EXPECT_EQ(filesIn(recordings()), 0U);
    other.exec("ROLLBACK");
    EXPECT_EQ(linesOf(output({"meetings", "list"})).size(), 4U);
}

TEST_F(StoreTest, ThatMayNotBeWrittenFailsWithALine) {
    if (!isRoot())
        GTEST_SKIP() << "only root can become a user who may not write the store";
    for (const char* name : {"home", "config", "state"}) {
        std::filesystem::create_directory(path(name));
        std::filesystem::permissions(path(name), std::filesystem::perms(0777));
    }
    for (const auto& entry : {folder / "data", folder / "data/Varnel"})
        std::filesystem::permissions(entry, std::filesystem::perms(0755));
    for (const auto& entry : std::filesystem::directory_iterator(folder / "data/Varnel"))
        std::filesystem::permissions(entry.path(), std::filesystem::perms(0644));
    writeSpeech(path("talk.wav"), 2);
    const std::string before = contentsOf(store());
    options.user = Program::User::nobody;
    const Finished finished = run({"transcribe", "--save", "talk.wav"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(linesOf(finished.err).size(), 1U) << finished.err;
    EXPECT_EQ(contentsOf(store()), before);
}

TEST_F(StoreTest, ThatIsDamagedIsSetAsideOnlyByDoctorRepair) {
    makeStore(120);
    execute("PRAGMA wal_checkpoint(TRUNCATE)");
    {
        std::fstream file(store(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(std::filesystem::file_size(store()) / 2));
        file << std::string(3 * 4096, 'x');
    }
    const std::string damaged = contentsOf(store());
    const Finished doctor = run({"doctor"});
    EXPECT_EQ(doctor.exitCode, 1);
    EXPECT_NE(doctor.out.find("varnel doctor --repair"), std::string::npos) << doctor.out;
    EXPECT_EQ(contentsOf(store()), damaged);

    const Finished repair = run({"doctor", "--repair"});
    EXPECT_EQ(repair.exitCode, 0) << repair.out << repair.err;
    EXPECT_NE(repair.err.find("Saved from it: "), std::string::npos) << repair.err;
    std::size_t aside = 0;
    for (const auto& entry : std::filesystem::directory_iterator(store().parent_path()))
        if (entry.path().filename().string().starts_with("Varnel.store.damaged-") &&
            entry.file_size() == damaged.size())
            ++aside;
    EXPECT_EQ(aside, 1U);
    EXPECT_GT(nlohmann::json::parse(output({"meetings", "list", "--json"})).size(), 50U);
}

TEST_F(StoreTest, ThatIsNoStoreAtAllIsToldAndKept) {
    std::filesystem::remove(store());
    std::filesystem::remove(store().string() + "-wal");
    std::filesystem::remove(store().string() + "-shm");
    const std::string text = "These are my notes, which nobody should write over.\n" + std::string(5000, '.');
    std::ofstream(store()) << text;
    failure({"meetings", "list"});
    EXPECT_EQ(contentsOf(store()), text);
}

TEST_F(StoreTest, IsNamedWithDataDir) {
    EXPECT_EQ(output({"meetings", "list", "--data-dir", "elsewhere", "-q"}), "");
    EXPECT_TRUE(std::filesystem::exists(path("elsewhere/Varnel.store")));
    EXPECT_EQ(linesOf(output({"meetings", "list", "--data-dir", store().parent_path().string()})).size(), 4U);
}

TEST_F(StoreTest, ListsNewestFirstWithALimit) {
    const auto lines = linesOf(output({"meetings", "list", "--limit", "2"}));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_NE(lines[1].find("Meeting 2"), std::string::npos);
    EXPECT_NE(lines[2].find("Meeting 1"), std::string::npos);
}

TEST_F(StoreTest, FindsMeetingsAndTheFirstLineThatMatches) {
    const std::string found = output({"meetings", "search", "LINE 7 OF MEETING 1"});
    ASSERT_EQ(linesOf(found).size(), 2U) << found;
    EXPECT_NE(found.find("[00:07] Ada: Line 7 of meeting 1"), std::string::npos);
    EXPECT_EQ(linesOf(output({"meetings", "search", "ada"})).size(), 6U);
    const Finished limited = run({"meetings", "search", "ada", "--limit", "1"});
    EXPECT_EQ(linesOf(limited.out).size(), 2U);
    EXPECT_EQ(limited.err, "2 more meetings match\n");
    EXPECT_EQ(nlohmann::json::parse(output({"meetings", "search", "meeting 2", "--json"})).size(), 1U);
}

TEST_F(StoreTest, ExportsSeveralMeetingsIntoAFolder) {
    const auto meetings = nlohmann::json::parse(output({"meetings", "list", "--json"}));
    EXPECT_EQ(output({"meetings", "export", meetings[0]["id"], meetings[1]["id"], "--format", "txt", "--output", "out",
                      "-q"}),
              "");
    EXPECT_TRUE(contentsOf(path("out/Meeting 2.txt")).starts_with("Meeting 2\n"));
    EXPECT_TRUE(contentsOf(path("out/Meeting 1.txt")).starts_with("Meeting 1\n"));
    const std::string before = contentsOf(store());
    EXPECT_EQ(failure({"meetings", "export", "latest", "--output", store().string()}),
              "'" + store().string() + "' is not written over: it is not the transcript's own file");
    EXPECT_EQ(contentsOf(store()), before);
}

} // namespace
} // namespace Varnel::Testing
