#include "EndToEnd/Sandbox.h"

#include <nlohmann/json.hpp>

#include <signal.h>

#include <fstream>
#include <set>

namespace Varnel::Testing {
namespace {

using Json = nlohmann::json;

constexpr const char* first = VARNEL_SOURCE_DIR "/samples/conversation.flac";
constexpr const char* second = VARNEL_SOURCE_DIR "/samples/second-conversation.flac";

// Voices found inside a recording, and recognised across recordings.
class SpeakersTest : public Sandbox {
protected:
    // Twelve seconds, in which the two-voice models hear three turns.
    void prepareTalk() {
        writeSpeech(path("talk.wav"), 12);
        writeTwoVoiceModels(path("models"));
        output({"models", "use", "models", "-q"});
    }

    Json latest() { return Json::parse(output({"meetings", "show", "latest", "--json"})); }

    static std::set<std::string> names(const Json& meeting) {
        std::set<std::string> result;
        for (const Json& speaker : meeting["speakers"])
            result.insert(speaker["name"]);
        return result;
    }
};

TEST_F(SpeakersTest, OfTheSampleAreNamedOnceAndRecognisedLater) {
    output({"transcribe", "--save", "-q", first});
    const Json meeting = latest();
    ASSERT_EQ(names(meeting), (std::set<std::string>{"Speaker 1", "Speaker 2"}));
    for (const Json& speaker : meeting["speakers"])
        EXPECT_EQ(speaker["isYou"], false) << "a file makes nobody you";
    output({"speakers", "rename", "Speaker 1", "Ada", "--meeting", "latest", "-q"});
    output({"speakers", "rename", "Speaker 2", "Ben", "--meeting", "latest", "-q"});
    output({"speakers", "color", "Ada", "teal", "-q"});

    const std::string transcript = output({"transcribe", "--save", "-q", second});
    EXPECT_NE(transcript.find("] Ada: "), std::string::npos) << transcript;
    EXPECT_NE(transcript.find("] Ben: "), std::string::npos) << transcript;
    EXPECT_EQ(names(latest()), (std::set<std::string>{"Ada", "Ben"}));
    const Json recognised = latest();
    for (const Json& speaker : recognised["speakers"])
        EXPECT_EQ(speaker["colorHex"] == "#14B8A6", speaker["name"] == "Ada") << speaker;
    for (const Json& speaker : Json::parse(output({"speakers", "list", "--json"})))
        EXPECT_EQ(speaker["meetings"], 2) << speaker;

    output({"speakers", "forget", "Ada", "-q"});
    output({"speakers", "forget", "Ben", "-q"});
    output({"transcribe", "--save", "-q", second});
    EXPECT_EQ(names(latest()), (std::set<std::string>{"Speaker 1", "Speaker 2"})) << "nobody is known any more";
}

TEST_F(SpeakersTest, AreKnownByTheirVoices) {
    prepareTalk();
    output({"transcribe", "--save", "-q", "talk.wav"});
    output({"speakers", "rename", "Speaker 2", "Ben", "-q"});
    const std::string transcript = output({"transcribe", "--save", "-q", "talk.wav"});
    EXPECT_NE(transcript.find("] Speaker 1: "), std::string::npos) << transcript;
    EXPECT_NE(transcript.find("] Ben: "), std::string::npos) << transcript;
    output({"models", "use", "starter", "-q"});
    output({"transcribe", "--save", "-q", first});
    EXPECT_FALSE(names(latest()).contains("Ben")) << "another network's voices are not compared";
}

TEST_F(SpeakersTest, StandInEveryForm) {
    prepareTalk();
    for (const char* format : {"txt", "md", "json", "srt"}) {
        const std::string text = output({"transcribe", "talk.wav", "--format", format});
        EXPECT_NE(text.find("Speaker 1"), std::string::npos) << text;
        EXPECT_NE(text.find("Speaker 2"), std::string::npos) << text;
    }
    EXPECT_EQ(output({"transcribe", "talk.wav", "--no-diarization", "--format", "srt"}).find("Speaker 2"),
              std::string::npos);
}

TEST_F(SpeakersTest, AreOneWithoutModelsToTellThemApart) {
    writeSpeech(path("talk.wav"), 12);
    std::filesystem::create_directory(path("models"));
    std::filesystem::copy(starterModels(), path("models") / starterModels().filename(),
                          std::filesystem::copy_options::recursive);
    const Finished finished = run({"transcribe", "talk.wav", "--models", "models"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_NE(finished.out.find("] Speaker 1: "), std::string::npos) << finished.out;
    EXPECT_EQ(finished.out.find("Speaker 2"), std::string::npos) << finished.out;
    EXPECT_TRUE(finished.err.starts_with("Speakers are not told apart: '" + path("models").string() + "' lacks "))
        << finished.err;
    EXPECT_EQ(linesOf(finished.err).size(), 1U) << finished.err;
    EXPECT_EQ(run({"transcribe", "talk.wav", "--models", "models", "--no-diarization"}).err, "");
}

TEST_F(SpeakersTest, AreFoundAnewWhenAMeetingIsTranscribedAgain) {
    prepareTalk();
    output({"transcribe", "--save", "-q", "talk.wav"});
    output({"speakers", "rename", "Speaker 1", "Ada", "-q"});
    const Finished finished = run({"meetings", "retranscribe", "latest"});
    EXPECT_EQ(finished.exitCode, 0) << finished.err;
    EXPECT_EQ(names(latest()), (std::set<std::string>{"Speaker 1", "Speaker 2"})) << "its own voices are no candidates";
    EXPECT_EQ(finished.err,
              "Transcribed 'talk' again: " + std::to_string(latest()["segments"].size()) + " lines, 2 speakers\n");
    EXPECT_EQ(latest()["title"], "talk");
}

TEST_F(SpeakersTest, StayWhenTranscribingAgainFails) {
    prepareTalk();
    output({"transcribe", "--save", "-q", "talk.wav"});
    const Json before = latest();
    std::ofstream(before["audioFilePath"].get<std::string>()) << "This is no sound any more.\n";
    EXPECT_TRUE(failure({"meetings", "retranscribe", "latest"}).starts_with("'talk' stays as it was: "));
    EXPECT_EQ(latest(), before);
}

TEST_F(SpeakersTest, StayWhenTranscribingAgainIsInterrupted) {
    prepareTalk();
    output({"transcribe", "--save", "-q", "talk.wav"});
    const Json before = latest();
    writeSpeech(before["audioFilePath"].get<std::string>(), 1200);
    std::filesystem::remove(log());
    auto program = start({"meetings", "retranscribe", "latest"});
    ASSERT_TRUE(comesTrue([&] {
        return contentsOf(log()).find("Successfully loaded all ASR models") != std::string::npos ||
               !program->isRunning();
    }));
    program->send(SIGINT);
    const Finished finished = program->wait();
    EXPECT_EQ(finished.exitCode, 130);
    EXPECT_EQ(finished.err, "varnel: cancelled\n");
    EXPECT_EQ(latest(), before);
}

} // namespace
} // namespace Varnel::Testing
