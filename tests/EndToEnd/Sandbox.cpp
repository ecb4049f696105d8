#include "EndToEnd/Sandbox.h"

#include "VarnelSpeech/Shared/ModelNames.h"
#include "support/AudioFixtures.h"
#include "support/TinyDiarizerNetworks.h"

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace Varnel::Testing {

Sandbox::Sandbox() {
    // Others may look in, so that the program can run as another user too.
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    options.environment = {{"HOME", (folder / "home").string()},
                           {"XDG_DATA_HOME", (folder / "data").string()},
                           {"XDG_CONFIG_HOME", (folder / "config").string()},
                           {"XDG_STATE_HOME", (folder / "state").string()},
                           {"PATH", "/usr/bin:/bin"},
                           {"LC_ALL", "C.UTF-8"},
                           {"TZ", "UTC"},
                           {"CI", "1"}};
    if (const char* sanitizer = std::getenv("ASAN_OPTIONS"))
        options.environment["ASAN_OPTIONS"] = sanitizer;
    options.workingFolder = folder.path();
}

std::unique_ptr<Program> Sandbox::start(const std::vector<std::string>& arguments) {
    return std::make_unique<Program>(VARNEL_BIN_DIR "/varnel", arguments, options);
}

Finished Sandbox::run(const std::vector<std::string>& arguments) {
    return start(arguments)->wait();
}

std::string Sandbox::output(const std::vector<std::string>& arguments) {
    const Finished finished = run(arguments);
    EXPECT_EQ(finished.exitCode, 0) << finished.err;
    return finished.out;
}

std::string Sandbox::failure(const std::vector<std::string>& arguments) {
    const Finished finished = run(arguments);
    EXPECT_EQ(finished.exitCode, 1) << ::testing::PrintToString(arguments) << finished.err;
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(linesOf(finished.err).size(), 1U) << finished.err;
    const std::string name = "varnel: ";
    EXPECT_TRUE(finished.err.starts_with(name)) << finished.err;
    if (!finished.err.starts_with(name))
        return finished.err;
    return finished.err.substr(name.size(), finished.err.find('\n') - name.size());
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::size_t filesIn(const std::filesystem::path& folder) {
    std::error_code error;
    std::size_t count = 0;
    for (std::filesystem::recursive_directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        count += it->is_regular_file() ? 1 : 0;
    return count;
}

bool comesTrue(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::filesystem::path starterModels() {
    return VARNEL_SOURCE_DIR "/models/starter/parakeet-tdt-0.6b-v3-coreml";
}

std::filesystem::path starterDiarizer() {
    return VARNEL_SOURCE_DIR "/models/starter/speaker-diarization-coreml";
}

void writeTwoVoiceModels(const std::filesystem::path& root) {
    namespace Networks = VarnelSpeech::Testing::TinyDiarizerNetworks;
    namespace Names = VarnelSpeech::ModelNames::Diarizer;
    const std::filesystem::path diarizer = root / starterDiarizer().filename();
    std::filesystem::create_directories(diarizer);
    std::filesystem::copy(starterModels(), root / starterModels().filename(), std::filesystem::copy_options::recursive);
    Networks::segmentation().writeBundle(diarizer / Names::segmentation);
    Networks::embedding().writeBundle(diarizer / Names::embedding);
}

void writeSpeech(const std::filesystem::path& file, double seconds, const std::vector<std::string>& encoding) {
    std::vector<std::string> arguments{"-stream_loop", "-1", "-i", VARNEL_SOURCE_DIR "/samples/conversation.flac"};
    arguments.insert(arguments.end(), encoding.begin(), encoding.end());
    arguments.insert(arguments.end(), {"-t", std::to_string(seconds), file.string()});
    VarnelSpeech::Testing::runFFmpeg(arguments);
}

} // namespace Varnel::Testing
