#include "EndToEnd/Sandbox.h"

#include "support/AudioFixtures.h"

#include <nlohmann/json.hpp>

#include <signal.h>

#include <fstream>
#include <set>

namespace Varnel::Testing {
namespace {

using VarnelSpeech::Testing::FixtureFormat;
using VarnelSpeech::Testing::writeAudio;

constexpr const char* sample = VARNEL_SOURCE_DIR "/samples/conversation.flac";
constexpr const char* sampleReference = VARNEL_SOURCE_DIR "/samples/conversation.rttm";

class DiarizeTest : public Sandbox {};

TEST_F(DiarizeTest, TellsTheTwoVoicesOfTheSampleApart) {
    std::ofstream(path("out.rttm")) << output({"diarize", "--rttm", sample});
    const auto measured =
        nlohmann::json::parse(output({"eval", "der", sampleReference, "out.rttm", "--collar", "0.25", "--json"}));
    EXPECT_LT(measured["diarizationErrorRate"], 0.2) << measured;
    EXPECT_EQ(measured["hypothesisSpeakers"], 2);
    EXPECT_FALSE(std::filesystem::exists(store())) << "nothing is stored";
}

TEST_F(DiarizeTest, PrintsATableOrTheSegments) {
    writeSpeech(path("talk.wav"), 20);
    writeTwoVoiceModels(path("models"));
    const std::vector<std::string> command{"diarize", "talk.wav", "--models", "models"};
    const auto with = [&](std::vector<std::string> more) {
        more.insert(more.begin(), command.begin(), command.end());
        return output(more);
    };
    const auto lines = linesOf(with({}));
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[0], "     START         END  SECONDS  SPEAKER");
    EXPECT_TRUE(lines[1].starts_with("0:00:00.00  0:00:")) << lines[1];
    for (std::size_t i = 1; i <= 4; ++i)
        EXPECT_TRUE(lines[i].ends_with(i % 2 == 1 ? "  1" : "  2")) << lines[i];
    EXPECT_EQ(lines[6], "2 speakers: 1 (10.0 s), 2 (10.0 s)");

    const auto segments = nlohmann::json::parse(with({"--json"}));
    ASSERT_EQ(segments.size(), 4U);
    std::set<std::string> ids;
    for (const auto& segment : segments) {
        EXPECT_TRUE(ids.insert(segment["id"]).second);
        EXPECT_LT(segment["startTimeSeconds"], segment["endTimeSeconds"]);
        EXPECT_EQ(segment.size(), 5U) << segment;
    }
    EXPECT_EQ(segments[2]["startTimeSeconds"], 10);
    for (const auto& segment : nlohmann::json::parse(with({"--json", "--embeddings"})))
        EXPECT_EQ(segment["embedding"].size(), 256U);

    const auto turns = linesOf(with({"--rttm"}));
    ASSERT_EQ(turns.size(), 4U);
    EXPECT_TRUE(turns[2].starts_with("SPEAKER talk 1 10.000 ")) << turns[2];
    EXPECT_TRUE(turns[2].ends_with(" <NA> <NA> 1 <NA> <NA>")) << turns[2];
}

TEST_F(DiarizeTest, HearsNobodyInSilence) {
    writeAudio(path("silence.wav"), FixtureFormat::wavInt16, 16000, 1, std::vector<float>(64000));
    const Finished finished = run({"diarize", "silence.wav"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(finished.err, "Nobody speaks\n");
    EXPECT_EQ(output({"diarize", "silence.wav", "--json"}), "[]\n");
    EXPECT_EQ(output({"diarize", "silence.wav", "--rttm"}), "");
}

TEST_F(DiarizeTest, SaysWhatIsWrongWithAFile) {
    std::ofstream(path("empty.wav"));
    std::ofstream(path("text.wav")) << "This is no sound at all, only words in a file.\n";
    std::filesystem::create_directory(path("folder.wav"));
    EXPECT_EQ(failure({"diarize", "absent.wav"}), "cannot read 'absent.wav': no such file");
    EXPECT_EQ(failure({"diarize", "empty.wav"}), "cannot read 'empty.wav': is empty");
    EXPECT_EQ(failure({"diarize", "text.wav"}), "cannot read 'text.wav': not an audio file");
    EXPECT_EQ(failure({"diarize", "folder.wav"}), "cannot read 'folder.wav': is a directory");
}

TEST_F(DiarizeTest, SaysWhichModelsAreMissingAndWhatToDo) {
    writeSpeech(path("talk.wav"), 2);
    std::filesystem::create_directory(path("models"));
    EXPECT_EQ(failure({"diarize", "talk.wav", "--models", "models"}),
              "speakers cannot be told apart: '" + path("models").string() +
                  "' lacks pyannote_segmentation.mlmodelc and wespeaker_v2.mlmodelc; 'varnel models fetch --models "
                  "FOLDER' adds them, 'varnel models use' chooses another set");
    EXPECT_EQ(filesIn(path("models")), 0U);
}

TEST_F(DiarizeTest, StopsInGoodOrderWhenItIsInterrupted) {
    writeSpeech(path("long.wav"), 3600);
    writeTwoVoiceModels(path("models"));
    for (const int signal : {SIGINT, SIGTERM}) {
        std::filesystem::remove(log());
        auto program = start({"diarize", "long.wav", "--models", "models"});
        ASSERT_TRUE(comesTrue([&] {
            return contentsOf(log()).find("EmbeddingExtractor initialized") != std::string::npos ||
                   !program->isRunning();
        }));
        program->send(signal);
        const Finished finished = program->wait();
        EXPECT_EQ(finished.exitCode, 128 + signal) << finished.signal;
        EXPECT_EQ(finished.err, "varnel: cancelled\n");
        EXPECT_EQ(finished.out, "");
    }
}

} // namespace
} // namespace Varnel::Testing
