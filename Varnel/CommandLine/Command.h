#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

class CommandContext;
struct GlobalOptions;

// What the command line asked for, to be run once it is parsed. The value is the exit code of a command that did its
// work, 0, or 1 when some of several things failed and each was reported.
using Action = std::function<int(CommandContext&)>;

// What the commands register themselves with: the program's parser, the options that every command takes, and the
// place for the action of the one that is named.
struct CommandRegistry {
    CLI::App& app;
    GlobalOptions& options;
    Action& action;
};

void addTranscribeCommand(const CommandRegistry& registry);
void addDiarizeCommand(const CommandRegistry& registry);
void addMeetingsCommand(const CommandRegistry& registry);
void addSpeakersCommand(const CommandRegistry& registry);
void addAiCommand(const CommandRegistry& registry);
void addModelsCommand(const CommandRegistry& registry);
void addSettingsCommand(const CommandRegistry& registry);
void addEvalCommand(const CommandRegistry& registry);
void addDoctorCommand(const CommandRegistry& registry);

// Adds a command below `parent` with its help text; its global options are those of the registry.
// `example` is shown at the end of its help.
CLI::App& addCommand(CLI::App& parent, const CommandRegistry& registry, const char* name, const char* description,
                     const char* example);

} // namespace Varnel::CommandLine
