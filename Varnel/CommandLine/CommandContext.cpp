#include "Varnel/CommandLine/CommandContext.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Platform/Linux/IniSettingsStore.h"

#include <utility>

namespace Varnel::CommandLine {

namespace {

ProgressBar::Visibility visibility(const GlobalOptions& options, const Streams& streams) {
    // Log lines and a progress bar would write over each other.
    return streams.errIsTerminal && !options.quiet && !options.verbose ? ProgressBar::Visibility::shown
                                                                       : ProgressBar::Visibility::hidden;
}

} // namespace

CommandContext::CommandContext(GlobalOptions options, Streams streams, Installation installation)
    : options_(std::move(options)),
      streams_(streams),
      installation_(std::move(installation)),
      directories_(ApplicationDirectories::fromEnvironment(options_.dataFolder)),
      output_(streams.out),
      progress_(streams.err, visibility(options_, streams), streams.errColumns) {}

CommandContext::~CommandContext() = default;

void CommandContext::note(std::string_view text) {
    if (options_.quiet)
        return;
    progress_.clear();
    std::fputs((singleLine(text) + "\n").c_str(), streams_.err);
}

void CommandContext::reportFailure(std::string_view text) {
    progress_.clear();
    std::fputs(errorLine(text).c_str(), streams_.err);
}

void CommandContext::ask(std::string_view question) {
    progress_.clear();
    output_.flush();
    std::fputs(singleLine(question).c_str(), streams_.err);
    std::fflush(streams_.err);
}

ModelContainer& CommandContext::store() {
    if (!store_)
        store_ = std::make_unique<ModelContainer>(directories_.store());
    return *store_;
}

SettingsStore& CommandContext::settingsStore() {
    if (!settingsStore_)
        settingsStore_ = std::make_unique<IniSettingsStore>(directories_.settingsFile());
    return *settingsStore_;
}

ModelSets CommandContext::modelSets() {
    return {ModelSets::Places::standard(installation_.programFolder, installation_.sourceStarterModels),
            settingsStore()};
}

} // namespace Varnel::CommandLine
