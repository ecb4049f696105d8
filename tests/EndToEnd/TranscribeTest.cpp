#include "EndToEnd/Sandbox.h"

#include "support/AudioFixtures.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>

namespace Varnel::Testing {
namespace {

using VarnelSpeech::Testing::FixtureFormat;
using VarnelSpeech::Testing::WavBytes;
using VarnelSpeech::Testing::writeAudio;
using VarnelSpeech::Testing::writeBytes;

constexpr const char* tooShort = "Invalid audio data provided. Must be at least 1 second of 16kHz audio.";

class TranscribeTest : public Sandbox {};

TEST_F(TranscribeTest, ReadsEveryFormatOfAudioFiles) {
    writeSpeech(path("talk.wav"), 4);
    writeSpeech(path("talk.flac"), 4);
    writeSpeech(path("talk.ogg"), 4, {"-c:a", "libvorbis"});
    writeSpeech(path("talk.mp3"), 4);
    writeSpeech(path("talk.m4a"), 4);
    const auto lines = linesOf(
        output({"transcribe", "--no-diarization", "talk.wav", "talk.flac", "talk.ogg", "talk.mp3", "talk.m4a"}));
    ASSERT_EQ(lines.size(), 5U);
    for (const std::string& line : lines)
        EXPECT_GE(std::count(line.begin(), line.end(), ' '), 2) << line;
    EXPECT_EQ(lines[1], lines[0]) << "FLAC loses nothing";
}

TEST_F(TranscribeTest, ReadsTheSoundOfAVideo) {
    VarnelSpeech::Testing::runFFmpeg({"-f", "lavfi", "-i", "testsrc=duration=3:size=64x64:rate=5", "-i",
                                      VARNEL_SOURCE_DIR "/samples/conversation.flac", "-t", "3", "-f", "mp4",
                                      path("video.m4a").string()});
    EXPECT_GT(output({"transcribe", "--no-diarization", "video.m4a"}).size(), 1U);
}

TEST_F(TranscribeTest, PrintsThePlainTextOfAMeetingByDefault) {
    writeSpeech(path("my talk.wav"), 4);
    const auto lines = linesOf(output({"transcribe", "my talk.wav"}));
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], "my talk");
    EXPECT_EQ(lines[2], "Duration: 0:04");
    EXPECT_EQ(lines[3], "");
    EXPECT_TRUE(lines[4].starts_with("[00:00] Speaker 1: ")) << lines[4];
    const auto bare = output({"transcribe", "my talk.wav", "--no-diarization"});
    EXPECT_EQ("[00:00] Speaker 1: " + bare, lines[4] + "\n");
}

TEST_F(TranscribeTest, TakesFilesOfAnyName) {
    const std::vector<std::string> names{"with blanks.wav", "it's \"quoted\".wav", "two\nlines.wav", "-dash.wav",
                                         "not utf-8 \xff\xfe.wav"};
    writeSpeech(path("plain.wav"), 2);
    for (const std::string& name : names)
        std::filesystem::copy_file(path("plain.wav"), path(name));
    std::vector<std::string> arguments{"transcribe", "--save", "--quiet", "--no-diarization", "--"};
    arguments.insert(arguments.end(), names.begin(), names.end());
    EXPECT_EQ(linesOf(output(arguments)).size(), names.size());
    const auto meetings = nlohmann::json::parse(output({"meetings", "list", "--json"}));
    ASSERT_EQ(meetings.size(), names.size());
    EXPECT_EQ(meetings[0]["title"], "not utf-8 \xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(meetings[2]["title"], "two\nlines");
    EXPECT_EQ(linesOf(output({"meetings", "list"})).size(), names.size() + 1) << "one line a meeting";
}

TEST_F(TranscribeTest, GivesOneClearLineForEachBadFileAndGoesOnWithTheOthers) {
    writeSpeech(path("good.wav"), 2);
    std::ofstream(path("empty.wav"));
    std::ofstream(path("text.wav")) << "This is no sound at all, only words in a file.\n";
    std::filesystem::create_directory(path("folder.wav"));
    writeSpeech(path("short.wav"), 0.5);
    const auto payload = VarnelSpeech::Testing::bytesOf(std::vector<float>(32000, 0.1F));
    writeBytes(path("no channels.wav"), WavBytes{.channels = 0, .payload = payload}.bytes());
    writeBytes(path("no rate.wav"), WavBytes{.sampleRate = 0, .payload = payload}.bytes());
    writeBytes(path("many channels.wav"), WavBytes{.channels = 65535, .payload = payload}.bytes());
    const Finished finished =
        run({"transcribe", "--no-diarization", "absent.wav", "empty.wav", "text.wav", "folder.wav", "short.wav",
             "no channels.wav", "no rate.wav", "many channels.wav", "two\nlines", "good.wav"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(linesOf(finished.out).size(), 1U) << "the good one";
    const auto lines = linesOf(finished.err);
    ASSERT_EQ(lines.size(), 9U) << finished.err;
    EXPECT_EQ(lines[0], "varnel: cannot read 'absent.wav': no such file");
    EXPECT_EQ(lines[1], "varnel: cannot read 'empty.wav': is empty");
    EXPECT_EQ(lines[2], "varnel: cannot read 'text.wav': not an audio file");
    EXPECT_EQ(lines[3], "varnel: cannot read 'folder.wav': is a directory");
    EXPECT_EQ(lines[4], std::string("varnel: 'short.wav': ") + tooShort);
    EXPECT_TRUE(lines[5].starts_with("varnel: cannot read 'no channels.wav': ")) << lines[5];
    EXPECT_TRUE(lines[6].starts_with("varnel: cannot read 'no rate.wav': ")) << lines[6];
    EXPECT_TRUE(lines[7].starts_with("varnel: cannot read 'many channels.wav': ")) << lines[7];
    EXPECT_EQ(lines[8], "varnel: cannot read 'two\\nlines': no such file");
}

TEST_F(TranscribeTest, StandsStrangeAudio) {
    writeBytes(path("lying sizes.wav"),
               WavBytes{.riffSize = 0xffffffff,
                        .dataSize = 0xfffffff0,
                        .payload = VarnelSpeech::Testing::bytesOf(std::vector<float>(32000, 0.0F))}
                   .bytes());
    std::vector<float> wild(32000, 0.1F);
    wild[1000] = std::numeric_limits<float>::quiet_NaN();
    wild[2000] = std::numeric_limits<float>::infinity();
    writeBytes(path("wild.wav"), WavBytes{.payload = VarnelSpeech::Testing::bytesOf(wild)}.bytes());
    writeAudio(path("six.wav"), FixtureFormat::wavInt16, 48000, 6, VarnelSpeech::Testing::noise(1, 6, 96000));
    writeAudio(path("low.wav"), FixtureFormat::wavInt16, 8000, 1, VarnelSpeech::Testing::noise(1, 1, 16000));
    writeAudio(path("high.wav"), FixtureFormat::wavInt24, 192000, 2, VarnelSpeech::Testing::noise(1, 2, 384000));
    writeSpeech(path("whole.wav"), 3);
    const std::string whole = contentsOf(path("whole.wav"));
    std::ofstream(path("cut.wav"), std::ios::binary) << whole.substr(0, whole.size() / 2 + 1);
    EXPECT_EQ(linesOf(output({"transcribe", "--no-diarization", "lying sizes.wav", "wild.wav", "six.wav", "low.wav",
                              "high.wav", "cut.wav"}))
                  .size(),
              6U);
}

TEST_F(TranscribeTest, SaysWhenAFileMayNotBeRead) {
    if (!isRoot())
        GTEST_SKIP() << "only root can become a user who may not read the file";
    writeSpeech(path("secret.wav"), 2);
    std::filesystem::permissions(path("secret.wav"), std::filesystem::perms(0600));
    for (const char* name : {"home", "data", "config", "state"}) {
        std::filesystem::create_directory(path(name));
        std::filesystem::permissions(path(name), std::filesystem::perms(0777));
    }
    options.user = Program::User::nobody;
    EXPECT_EQ(failure({"transcribe", "secret.wav"}), "cannot read 'secret.wav': permission denied");
}

TEST_F(TranscribeTest, WritesFilesAndNeverOverARecording) {
    writeSpeech(path("talk.wav"), 2);
    const std::string before = contentsOf(path("talk.wav"));
    EXPECT_EQ(output({"transcribe", "talk.wav", "--output", "talk.srt", "-q"}), "");
    const auto subtitles = linesOf(contentsOf(path("talk.srt")));
    ASSERT_EQ(subtitles.size(), 4U);
    EXPECT_EQ(subtitles[0], "1");
    EXPECT_TRUE(subtitles[1].starts_with("00:00:00,")) << subtitles[1];
    EXPECT_TRUE(subtitles[2].starts_with("Speaker 1: ")) << subtitles[2];
    EXPECT_EQ(failure({"transcribe", "talk.wav", "--output", "talk.wav"}),
              "'talk.wav' is not written over: it is not the transcript's own file");
    EXPECT_EQ(contentsOf(path("talk.wav")), before);

    std::filesystem::copy_file(path("talk.wav"), path("other.wav"));
    EXPECT_EQ(output({"transcribe", "talk.wav", "other.wav", "-o", "out", "-f", "md", "-q"}), "");
    EXPECT_EQ(filesIn(path("out")), 2U);
    EXPECT_TRUE(contentsOf(path("out/other.md")).starts_with("# other\n\n- **Date:** "));

    std::filesystem::create_directory(path("again"));
    std::filesystem::copy_file(path("talk.wav"), path("again/talk.wav"));
    const Finished clash = run({"transcribe", "talk.wav", "again/talk.wav", "-o", "out"});
    EXPECT_EQ(clash.exitCode, 2);
    EXPECT_EQ(clash.err,
              "varnel: the transcripts of 'talk.wav' and 'again/talk.wav' would both be written to 'out/talk.txt'\n");
}

TEST_F(TranscribeTest, SavesAMeetingThatIsListedShownSearchedAndExported) {
    writeSpeech(path("team talk.flac"), 6);
    const std::string json = output({"transcribe", "team talk.flac", "--save", "--format", "json", "-q"});
    const auto transcript = nlohmann::json::parse(json);

    const auto meetings = nlohmann::json::parse(output({"meetings", "list", "--json"}));
    ASSERT_EQ(meetings.size(), 1U);
    EXPECT_EQ(meetings[0]["title"], "team talk");
    EXPECT_EQ(meetings[0]["duration"], 6);
    EXPECT_EQ(meetings[0]["id"], transcript["id"]);
    EXPECT_FALSE(meetings[0].contains("sourceApp"));
    const std::filesystem::path audio = meetings[0]["audioFilePath"].get<std::string>();
    EXPECT_EQ(contentsOf(audio), contentsOf(path("team talk.flac")));
    EXPECT_EQ(audio.parent_path(), recordings());
    EXPECT_EQ(audio.extension(), ".flac");

    const std::string id = meetings[0]["id"];
    EXPECT_EQ(output({"meetings", "export", "latest", "--format", "json"}), json);
    const std::string text = transcript["segments"][0]["text"];
    const auto subtitles = linesOf(output({"meetings", "export", id, "--format", "srt"}));
    ASSERT_EQ(subtitles.size(), 4U);
    EXPECT_EQ(subtitles[2], "Speaker 1: " + text);
    const std::string markdown = output({"meetings", "export", id.substr(0, 6)});
    EXPECT_TRUE(markdown.starts_with("# team talk\n\n- **Date:** ")) << markdown;
    EXPECT_TRUE(markdown.ends_with("\n- **Duration:** 0:06\n- **Speakers:** Speaker 1\n\n## Transcript\n\n"
                                   "**[00:00] Speaker 1:** " +
                                   text + "\n\n"))
        << markdown;
    const std::string plain = output({"meetings", "export", id, "--format", "txt"});
    EXPECT_TRUE(plain.ends_with("\nDuration: 0:06\n\n[00:00] Speaker 1: " + text + "\n")) << plain;
    for (const auto& [format, expected] :
         std::map<std::string, std::string>{{"md", markdown}, {"txt", plain}, {"json", json}}) {
        EXPECT_EQ(output({"meetings", "export", id, "--output", "out." + format, "-q"}), "");
        EXPECT_EQ(contentsOf(path("out." + format)), expected);
    }

    const std::string shown = output({"meetings", "show", "latest"});
    EXPECT_NE(shown.find("[00:00] Speaker 1: " + text + "\n"), std::string::npos) << shown;
    const std::string word = text.substr(0, text.find(' '));
    EXPECT_NE(output({"meetings", "search", word}).find("[00:00] Speaker 1: " + text), std::string::npos);
    EXPECT_NE(output({"meetings", "search", " TEAM TALK\t"}).find("team talk"), std::string::npos);
    EXPECT_EQ(output({"meetings", "search", "nowhere to be found"}), "");

    namespace fs = std::filesystem;
    for (const fs::path& file : {store(), audio, log()})
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600)) << file;
    for (const fs::path& directory : {store().parent_path(), recordings(), log().parent_path()})
        EXPECT_EQ(fs::status(directory).permissions(), fs::perms(0700)) << directory;
    EXPECT_EQ(contentsOf(log()).find(text), std::string::npos) << "a transcript is nobody's business";
}

TEST_F(TranscribeTest, LetsTwoProcessesSaveIntoOneStore) {
    writeSpeech(path("one.wav"), 2);
    std::filesystem::copy_file(path("one.wav"), path("two.wav"));
    auto one = start({"transcribe", "--save", "one.wav", "-q"});
    auto two = start({"transcribe", "--save", "two.wav", "-q"});
    for (auto* program : {&one, &two}) {
        const Finished finished = (*program)->wait();
        EXPECT_EQ(finished.exitCode, 0) << finished.err;
    }
    EXPECT_EQ(nlohmann::json::parse(output({"meetings", "list", "--json"})).size(), 2U);
    EXPECT_EQ(filesIn(recordings()), 2U);
}

TEST_F(TranscribeTest, StopsInGoodOrderWhenItIsInterrupted) {
    writeSpeech(path("long.wav"), 1200);
    for (const int signal : {SIGINT, SIGTERM}) {
        std::filesystem::remove(log());
        auto program = start({"transcribe", "--save", "long.wav"});
        ASSERT_TRUE(comesTrue([&] {
            return contentsOf(log()).find("Successfully loaded all ASR models") != std::string::npos ||
                   !program->isRunning();
        }));
        program->send(signal);
        const Finished finished = program->wait();
        EXPECT_EQ(finished.exitCode, 128 + signal) << finished.signal;
        EXPECT_EQ(finished.err, "varnel: cancelled\n");
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(filesIn(recordings()), 0U);
        EXPECT_EQ(output({"meetings", "list", "-q"}), "");
    }
}

TEST_F(TranscribeTest, EndsQuietlyWhenItsReaderHasGone) {
    writeSpeech(path("talk.wav"), 2);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    options.out = ends[1];
    const Finished finished = run({"transcribe", "talk.wav"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.signal, 0);
    EXPECT_EQ(finished.err, "");
}

TEST_F(TranscribeTest, SaysThatStandardOutputIsFull) {
    writeSpeech(path("talk.wav"), 2);
    options.out = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const Finished finished = run({"transcribe", "talk.wav"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.err, "varnel: cannot write to standard output: No space left on device\n");
}

TEST_F(TranscribeTest, SaysWhichModelsDoNotLoad) {
    writeSpeech(path("talk.wav"), 2);
    std::filesystem::create_directory(path("models"));
    const std::string missing = failure({"transcribe", "talk.wav", "--models", "models"});
    EXPECT_TRUE(missing.starts_with("cannot load the models of '" + path("models").string() + "': ")) << missing;
    EXPECT_EQ(filesIn(path("models")), 0U) << "a folder of the user's is never fetched into";
    options.environment["VARNEL_STARTER_MODELS"] = path("nowhere").string();
    EXPECT_TRUE(failure({"transcribe", "talk.wav"}).starts_with("there are no models: "));
}

} // namespace
} // namespace Varnel::Testing
