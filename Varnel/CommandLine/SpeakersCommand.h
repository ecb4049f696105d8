#pragma once

#include "Varnel/CommandLine/CommandContext.h"

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

struct CommandRegistry;

// The commands below "speakers".
void addSpeakersListCommand(CLI::App& group, const CommandRegistry& registry);
void addSpeakersRenameCommand(CLI::App& group, const CommandRegistry& registry);
void addSpeakersColorCommand(CLI::App& group, const CommandRegistry& registry);
void addSpeakersForgetCommand(CLI::App& group, const CommandRegistry& registry);
void addSpeakersDeleteCommand(CLI::App& group, const CommandRegistry& registry);
void addSpeakersMergeCommand(CLI::App& group, const CommandRegistry& registry);
void addSpeakersMarkYouCommand(CLI::App& group, const CommandRegistry& registry);

// The option with which they act on one meeting.
enum class MeetingOption { required, optional };
void addMeetingOption(CLI::App& command, std::string& meeting, MeetingOption kind);

// "1 meeting", "2 meetings"
std::string counted(std::size_t count, std::string_view thing);

} // namespace Varnel::CommandLine
