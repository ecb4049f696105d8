#pragma once

#include "Varnel/CommandLine/GlobalOptions.h"
#include "Varnel/CommandLine/Output.h"
#include "Varnel/CommandLine/ProgressBar.h"
#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Models/Settings.h"
#include "Varnel/Platform/Linux/ApplicationDirectories.h"
#include "Varnel/Refinement/ModelSets.h"

#include <filesystem>
#include <memory>
#include <string_view>

namespace Varnel::CommandLine {

// Where the program was built or installed.
struct Installation {
    std::filesystem::path programFolder;
    std::filesystem::path sourceStarterModels; // of a build that was not installed; may not exist
};

// What a running command works with: its options, its streams, and the user's data, opened at first use.
// Main thread only.
class CommandContext {
public:
    CommandContext(GlobalOptions options, Streams streams, Installation installation);
    ~CommandContext();

    const GlobalOptions& options() const { return options_; }

    const ApplicationDirectories& directories() const { return directories_; }

    std::FILE* input() const { return streams_.in; }

    Output& output() { return output_; }

    // What standard output shows.
    TerminalColors colors() const { return streams_.outColors; }

    ProgressBar& progress() { return progress_; }

    // A line on standard error that is no error; nothing with --quiet.
    void note(std::string_view text);
    // A line on standard error that one of several things failed; the command goes on.
    void reportFailure(std::string_view text);

    // Whether somebody sits at the terminal who can be asked, and answers on the input.
    bool canAsk() const { return streams_.inIsTerminal && streams_.errIsTerminal; }

    // A question on standard error, without a line end.
    void ask(std::string_view question);

    // Throws StoreError.
    ModelContainer& store();
    SettingsStore& settingsStore();

    Settings settings() { return Settings(settingsStore()); }

    ModelSets modelSets();

    // The models that this command is to use, by its options and the user's choice. Throws ModelSetError.
    ModelSets::InUse modelsInUse() { return modelSets().inUse(options_.modelsFolder); }

private:
    GlobalOptions options_;
    Streams streams_;
    Installation installation_;
    ApplicationDirectories directories_;
    Output output_;
    ProgressBar progress_;
    std::unique_ptr<ModelContainer> store_;
    std::unique_ptr<SettingsStore> settingsStore_;
};

} // namespace Varnel::CommandLine
