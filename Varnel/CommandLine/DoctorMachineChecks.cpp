#include "Varnel/CommandLine/DoctorChecks.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Platform/Linux/HostInformation.h"
#include "Varnel/Platform/Linux/LogFile.h"
#include "VarnelSpeech/Shared/AudioFileSupport.h"

#include <fmt/format.h>

namespace Varnel::CommandLine {

namespace {

constexpr std::uint64_t megabyte = 1'000'000;

Finding checkProcessors() {
    const std::uint64_t memory = memoryBytes();
    Finding finding{Finding::Kind::ok, "machine",
                    fmt::format("{} processors, {} of memory", processorCount(), byteText(memory)), ""};
    if (memory > 0 && memory < 4000 * megabyte) {
        finding.kind = Finding::Kind::note;
        finding.remedy = "The full models want 4 GB; the starter models need less.";
    }
    return finding;
}

Finding checkAudioFiles() {
    std::string readable;
    std::string missing;
    for (const auto& kind : VarnelSpeech::audioFileSupport()) {
        std::string& list = kind.isReadable ? readable : missing;
        list += (list.empty() ? "" : ", ") + kind.name;
    }
    if (missing.empty())
        return {Finding::Kind::ok, "audio files", readable, ""};
    return {Finding::Kind::note, "audio files", fmt::format("{}; not: {}", readable, missing),
            "Install libsndfile and the FFmpeg libraries with these formats."};
}

Finding checkLog(const std::filesystem::path& file) {
    try {
        const LogFile log(file);
        return {Finding::Kind::ok, "log", file.string(), ""};
    } catch (const std::exception& error) {
        return {Finding::Kind::note, "log", describe(error), "Make its folder writable for you."};
    }
}

} // namespace

std::vector<Finding> checkMachine(CommandContext& context) {
    return {checkProcessors(), checkAudioFiles(), checkLog(context.directories().logFile())};
}

} // namespace Varnel::CommandLine
