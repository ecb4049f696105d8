#pragma once

#include "EndToEnd/Program.h"

#include "support/FileText.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace Varnel::Testing {

// The built program with a home of its own.
class Sandbox : public ::testing::Test {
protected:
    Sandbox();

    std::unique_ptr<Program> start(const std::vector<std::string>& arguments);
    Finished run(const std::vector<std::string>& arguments);
    // The same, and expects success.
    std::string output(const std::vector<std::string>& arguments);
    // The same, and expects exit code 1, nothing on standard output, and one line on standard error: returns it,
    // without "varnel: " and the line's end.
    std::string failure(const std::vector<std::string>& arguments);

    std::filesystem::path path(const std::string& name) const { return folder / name; }

    std::filesystem::path store() const { return folder / "data/Varnel/Varnel.store"; }

    std::filesystem::path recordings() const { return folder / "data/Varnel/Recordings"; }

    std::filesystem::path log() const { return folder / "state/Varnel/varnel.log"; }

    std::filesystem::path diarizerCache() const {
        return folder / "data/VarnelSpeech/Models/speaker-diarization-coreml";
    }

    std::filesystem::path hubCache() const { return folder / "data/VarnelSpeech/Models/parakeet-tdt-0.6b-v3-coreml"; }

    VarnelSpeech::Testing::TemporaryFolder folder;
    Program::Options options;
};

using VarnelSpeech::Testing::contentsOf;

std::vector<std::string> linesOf(const std::string& text);
std::size_t filesIn(const std::filesystem::path& folder);

// Waits for something that another process brings about; false after a generous time.
bool comesTrue(const std::function<bool()>& condition);

// The starter models of the source tree, and a few seconds of the sample conversation as 16 kHz WAV.
std::filesystem::path starterModels();
std::filesystem::path starterDiarizer();
// Writes a model set: the starter recogniser, and a diarizer that hears two voices in any sound, one in the first half
// of every ten seconds and one in the other.
void writeTwoVoiceModels(const std::filesystem::path& root);
void writeSpeech(const std::filesystem::path& file, double seconds, const std::vector<std::string>& encoding = {});

} // namespace Varnel::Testing
