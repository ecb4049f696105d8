#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/SpeakerReference.h"
#include "Varnel/CommandLine/SpeakersCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct MergeOptions {
    std::string source;
    std::string target;
    std::string meeting;
};

int merge(CommandContext& context, const MergeOptions& options) {
    EditingSession session(context);
    const auto meeting = meetingNamed(options.meeting, session.model());
    const auto source = speakerNamed(options.source, *meeting);
    const auto target = speakerNamed(options.target, *meeting);
    if (source == target)
        throw CommandError(fmt::format("{} cannot be merged with itself", inQuotes(source->name().toStdString())));
    const std::string sourceName = inQuotes(source->name().toStdString());
    const std::string targetName = inQuotes(target->name().toStdString());
    const std::size_t lines = source->segments().size();
    session.app().mergeSpeaker(meeting->id(), source->id(), target->id());
    session.save();
    context.note(fmt::format("{} was merged into {}: {} ({})", sourceName, targetName, counted(lines, "line"),
                             inQuotes(meeting->title().toStdString())));
    return success;
}

} // namespace

void addSpeakersMergeCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<MergeOptions>();
    CLI::App& command = addCommand(group, registry, "merge", "Make one speaker of two, in one meeting",
                                   "  varnel speakers merge 'Speaker 3' Ada --meeting latest\n\n"
                                   "All lines of the first become the second's, who keeps the name, the color and the\n"
                                   "voice; the first is gone.");
    command.add_option("SPEAKER", options->source, "The speaker who goes")->required();
    command.add_option("INTO", options->target, "The speaker who stays")->required();
    addMeetingOption(command, options->meeting, MeetingOption::required);
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return merge(context, *options); };
    });
}

} // namespace Varnel::CommandLine
