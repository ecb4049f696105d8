#include "Varnel/CommandLine/SpeechModels.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Refinement/ChunkedDiarization.h"
#include "VarnelSpeech/Asr/AsrModels.h"
#include "VarnelSpeech/Diarizer/DiarizerModels.h"

#include <fmt/format.h>

#include <utility>

namespace Varnel::CommandLine {

namespace {

using VarnelSpeech::Repo;

VarnelSpeech::DownloadUtils::DownloadConfig untilStopped(const std::stop_token& stop) {
    VarnelSpeech::DownloadUtils::DownloadConfig download;
    download.stop = stop;
    return download;
}

const char* remedy(const ModelSet& set) {
    switch (set.kind) {
    case ModelSet::Kind::hub:
        return "'varnel models fetch' fetches what is missing";
    case ModelSet::Kind::starter:
        return "install the starter models again, or fetch the full ones with 'varnel models fetch'";
    case ModelSet::Kind::folder:
        break;
    }
    return "'varnel models fetch --models FOLDER' adds them, 'varnel models use' chooses another set";
}

} // namespace

TranscriptionEngine::AsrLoader recogniserOf(const ModelSet& set, std::stop_token stop) {
    return [set, stop = std::move(stop)] {
        const auto version = VarnelSpeech::AsrModelVersion::v3;
        return VarnelSpeech::AsrModels::load(set.folder(VarnelSpeech::repo(version)), {}, version, set.fetching(),
                                             untilStopped(stop));
    };
}

std::shared_ptr<SpeakerDiarization> diarizerOf(const ModelSet& set, std::stop_token stop) {
    return std::make_shared<ChunkedDiarization>([set, stop = std::move(stop)] {
        // What was not fetched is not fetched here either: only what is damaged may be fetched again.
        const auto fetching =
            isComplete(set, Repo::diarizer) ? set.fetching() : VarnelSpeech::DownloadUtils::Fetching::never;
        return VarnelSpeech::DiarizerModels::download(set.folder(Repo::diarizer), {}, fetching, untilStopped(stop));
    });
}

std::optional<std::string> whatKeepsSpeakersTogether(const ModelSet& set) {
    std::string missing;
    for (const ModelSetItem& item : items(set, Repo::diarizer))
        if (item.state != ModelSetItem::State::complete)
            missing += (missing.empty() ? "" : " and ") + item.name;
    if (missing.empty())
        return std::nullopt;
    return fmt::format("{} lacks {}; {}", inQuotes(set.root.string()), missing, remedy(set));
}

} // namespace Varnel::CommandLine
