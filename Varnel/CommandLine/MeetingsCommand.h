#pragma once

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

struct CommandRegistry;

// The commands below "meetings".
void addMeetingsListCommand(CLI::App& group, const CommandRegistry& registry);
void addMeetingsShowCommand(CLI::App& group, const CommandRegistry& registry);
void addMeetingsSearchCommand(CLI::App& group, const CommandRegistry& registry);
void addMeetingsExportCommand(CLI::App& group, const CommandRegistry& registry);
void addMeetingsRenameCommand(CLI::App& group, const CommandRegistry& registry);
void addMeetingsDeleteCommand(CLI::App& group, const CommandRegistry& registry);
void addMeetingsRetranscribeCommand(CLI::App& group, const CommandRegistry& registry);

} // namespace Varnel::CommandLine
