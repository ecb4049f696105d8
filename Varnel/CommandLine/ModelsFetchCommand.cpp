#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/ModelsCommand.h"
#include "Varnel/Platform/Linux/TerminationSignals.h"
#include "VarnelSpeech/Asr/AsrModels.h"
#include "VarnelSpeech/Diarizer/DiarizerModels.h"
#include "VarnelSpeech/Shared/DownloadUtils.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Varnel::CommandLine {

namespace {

using VarnelSpeech::DownloadUtils::DownloadConfig;

constexpr const char* allParts = "all";

struct FetchOptions {
    std::string part = allParts;
};

std::function<void(const VarnelSpeech::DownloadUtils::Progress&)> shownIn(ProgressBar& bar) {
    return [&bar, shown = std::string()](const VarnelSpeech::DownloadUtils::Progress& progress) mutable {
        if (progress.path != shown) {
            shown = progress.path;
            bar.begin(fmt::format("Fetching {}/{} {}", progress.fileIndex + 1, progress.fileCount, progress.path));
        }
        if (progress.bytesTotal > 0)
            bar.update(static_cast<double>(progress.bytesDone) / static_cast<double>(progress.bytesTotal),
                       fmt::format("{} of {}", byteText(progress.bytesDone), byteText(progress.bytesTotal)));
    };
}

// Fetches what is absent, then loads every network once: one that is damaged has the part deleted and fetched again,
// once.
void fetch(const ModelPart& part, const ModelSet& cache, const DownloadConfig& download, ProgressBar& bar) {
    using namespace VarnelSpeech;
    if (!isComplete(cache, part.repo))
        DownloadUtils::downloadRepo(part.repo, cache.root, {}, download);
    bar.begin("Checking the models");
    MLModelConfiguration configuration;
    configuration.computeUnits = MLComputeUnits::cpuOnly;
    if (part.repo == Repo::parakeet)
        AsrModels::load(cache.folder(part.repo), configuration, AsrModelVersion::v3,
                        DownloadUtils::Fetching::whenMissing, download);
    else if (part.repo == Repo::diarizer)
        DiarizerModels::download(cache.folder(part.repo), configuration, DownloadUtils::Fetching::whenMissing,
                                 download);
}

std::string whenUsed(const CommandContext& context, const ModelSets& sets) {
    if (context.options().modelsFolder)
        return {};
    const auto chosen = sets.chosen();
    if (!chosen || chosen->kind == ModelSet::Kind::hub)
        return " They are used from the next start.";
    return " Another set is chosen: 'varnel models use hub' switches to them.";
}

int fetchModels(CommandContext& context, const FetchOptions& options) {
    const ModelSets sets = context.modelSets();
    ModelSet cache = sets.hub();
    if (context.options().modelsFolder)
        cache.root = *context.options().modelsFolder;

    const TerminationSignals signals;
    DownloadConfig download;
    download.progress = shownIn(context.progress());
    download.stop = signals.token();
    std::string purposes;
    try {
        for (const ModelPart& part : modelParts) {
            if (options.part != allParts && options.part != part.name)
                continue;
            context.progress().begin("Asking the model hub");
            fetch(part, cache, download, context.progress());
            purposes += (purposes.empty() ? "" : " and ") + std::string(part.purpose);
        }
    } catch (const std::exception&) {
        context.progress().clear();
        if (signals.received() != 0)
            throw Interrupted(signals.received());
        throw;
    }
    context.progress().clear();
    context.note(fmt::format("The models for {} are complete in {}.{}", purposes, inQuotes(cache.root.string()),
                             whenUsed(context, sets)));
    return success;
}

} // namespace

void addModelsFetchCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<FetchOptions>();
    CLI::App& command =
        addCommand(group, registry, "fetch", "Fetch the full models from the model hub",
                   "  varnel models fetch\n\n"
                   "What is there already is kept, and a fetch that was cut off goes on where it ended. A damaged\n"
                   "model is deleted with its set and fetched once more. REGISTRY_URL names another hub, HF_TOKEN a\n"
                   "token for it. With --models the folder is fetched to in place of the cache.");
    std::vector<std::string> names{allParts};
    for (const ModelPart& part : modelParts)
        names.emplace_back(part.name);
    command
        .add_option("--set", options->part,
                    "What to fetch: asr (speech recognition), diarizer (telling speakers apart), or all")
        ->check(CLI::IsMember(names))
        ->type_name("SET")
        ->capture_default_str();
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return fetchModels(context, *options); };
    });
}

} // namespace Varnel::CommandLine
