#include "Varnel/CommandLine/MeetingsCommand.h"

#include "Varnel/CommandLine/Command.h"

#include <CLI/CLI.hpp>

namespace Varnel::CommandLine {

void addMeetingsCommand(const CommandRegistry& registry) {
    CLI::App& group = addCommand(registry.app, registry, "meetings", "The stored meetings",
                                 "  varnel meetings list\n"
                                 "  varnel meetings show latest\n"
                                 "  varnel meetings search budget\n"
                                 "  varnel meetings export 1F2E --format srt --output talk.srt\n"
                                 "  varnel meetings rename latest 'Open day'\n\n"
                                 "A meeting is named by its id, by a unique beginning of it, or as 'latest'.");
    group.require_subcommand(1);
    addMeetingsListCommand(group, registry);
    addMeetingsShowCommand(group, registry);
    addMeetingsSearchCommand(group, registry);
    addMeetingsExportCommand(group, registry);
    addMeetingsRenameCommand(group, registry);
    addMeetingsDeleteCommand(group, registry);
    addMeetingsRetranscribeCommand(group, registry);
}

} // namespace Varnel::CommandLine
