#include "Varnel/CommandLine/SpeakersCommand.h"

#include "Varnel/CommandLine/Command.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace Varnel::CommandLine {

void addMeetingOption(CLI::App& command, std::string& meeting, MeetingOption kind) {
    command
        .add_option("-m,--meeting", meeting,
                    kind == MeetingOption::required
                        ? "The meeting: its id, a unique beginning of it, or 'latest'"
                        : "In one meeting alone: its id, a unique beginning of it, or 'latest'")
        ->type_name("MEETING")
        ->required(kind == MeetingOption::required);
}

std::string counted(std::size_t count, std::string_view thing) {
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

void addSpeakersCommand(const CommandRegistry& registry) {
    CLI::App& group = addCommand(registry.app, registry, "speakers", "Who speaks in the meetings",
                                 "  varnel speakers list\n"
                                 "  varnel speakers rename 'Speaker 1' Ada --meeting latest\n"
                                 "  varnel speakers color Ada teal\n"
                                 "  varnel speakers merge 'Speaker 3' Ada --meeting latest\n\n"
                                 "A person has one name in all meetings, and later meetings recognise the voice. In\n"
                                 "one meeting a speaker is named by the name, the id, or a unique beginning of it.");
    group.require_subcommand(1);
    addSpeakersListCommand(group, registry);
    addSpeakersRenameCommand(group, registry);
    addSpeakersColorCommand(group, registry);
    addSpeakersForgetCommand(group, registry);
    addSpeakersDeleteCommand(group, registry);
    addSpeakersMergeCommand(group, registry);
    addSpeakersMarkYouCommand(group, registry);
}

} // namespace Varnel::CommandLine
