#include "EndToEnd/Sandbox.h"

#include "support/AudioFixtures.h"

#include <algorithm>
#include <fstream>
#include <set>

namespace Varnel::Testing {
namespace {

// Files that were cut off, as by a full disk or a broken transfer.
class CutFilesTest : public Sandbox {
protected:
    std::vector<std::string> cutsOf(const std::string& name) {
        const std::string whole = contentsOf(path(name));
        const std::size_t size = whole.size();
        std::vector<std::string> names;
        for (const std::size_t length :
             std::set<std::size_t>{1, 4, 12, 43, 44, 200, 1000, size / 3, size / 2, size * 3 / 4, size - 1}) {
            names.push_back("cut at " + std::to_string(length) + " " + name);
            std::ofstream(path(names.back()), std::ios::binary) << whole.substr(0, length);
        }
        return names;
    }

    // How many of the files were transcribed; each of the others must have one clear line.
    std::size_t transcribed(const std::vector<std::string>& names) {
        std::vector<std::string> arguments{"transcribe", "--no-diarization", "--"};
        arguments.insert(arguments.end(), names.begin(), names.end());
        const Finished finished = run(arguments);
        EXPECT_EQ(finished.exitCode, 1) << finished.signal;
        const auto errors = linesOf(finished.err);
        const std::size_t lines = linesOf(finished.out).size();
        EXPECT_EQ(lines + errors.size(), names.size()) << finished.err;
        for (const std::string& error : errors) {
            const auto isNamed = [&](const std::string& name) { return error.find("'" + name + "': ") != error.npos; };
            EXPECT_TRUE(error.starts_with("varnel: ") && std::any_of(names.begin(), names.end(), isNamed)) << error;
        }
        return lines;
    }
};

TEST_F(CutFilesTest, AreTranscribedAsFarAsTheyGoOrRefusedWithALine) {
    writeSpeech(path("talk.flac"), 6);
    writeSpeech(path("talk.mp3"), 6);
    writeSpeech(path("talk.ogg"), 6, {"-c:a", "libvorbis"});
    writeSpeech(path("table first.m4a"), 6, {"-movflags", "+faststart"});
    for (const char* name : {"talk.flac", "talk.mp3", "talk.ogg", "table first.m4a"}) {
        const std::size_t count = transcribed(cutsOf(name));
        EXPECT_GE(count, 4U) << name;
        EXPECT_LT(count, 11U) << name;
    }
    // What tells where the sound lies is at the end of such a file, before nothing but a tag.
    writeSpeech(path("table last.m4a"), 6);
    EXPECT_LE(transcribed(cutsOf("table last.m4a")), 1U);
}

TEST_F(CutFilesTest, LeaveALineInTheLog) {
    writeSpeech(path("talk.flac"), 6);
    const std::string whole = contentsOf(path("talk.flac"));
    std::ofstream(path("cut.flac"), std::ios::binary) << whole.substr(0, whole.size() / 2);
    output({"transcribe", "talk.flac"});
    EXPECT_EQ(contentsOf(log()).find("ends early"), std::string::npos);
    output({"transcribe", "cut.flac"});
    EXPECT_NE(contentsOf(log()).find("'cut.flac' ends early: expected 96000 frames (6.0 s), read "), std::string::npos);
}

} // namespace
} // namespace Varnel::Testing
