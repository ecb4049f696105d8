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

struct MarkYouOptions {
    std::string speaker;
    std::string meeting;
};

int markYou(CommandContext& context, const MarkYouOptions& options) {
    EditingSession session(context);
    const auto meeting = meetingNamed(options.meeting, session.model());
    const auto speaker = speakerNamed(options.speaker, *meeting);
    session.app().markSpeakerAsYou(meeting->id(), speaker->id());
    session.save();
    context.note(fmt::format("{} is you ({})", inQuotes(speaker->name().toStdString()),
                             inQuotes(meeting->title().toStdString())));
    return success;
}

} // namespace

void addSpeakersMarkYouCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<MarkYouOptions>();
    CLI::App& command = addCommand(group, registry, "mark-you", "Say which speaker of a meeting is you",
                                   "  varnel speakers mark-you 'Speaker 2' --meeting latest\n\n"
                                   "Nobody else of that meeting is you then. Name and color stay.");
    command.add_option("SPEAKER", options->speaker, "The speaker")->required();
    addMeetingOption(command, options->meeting, MeetingOption::required);
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return markYou(context, *options); };
    });
}

} // namespace Varnel::CommandLine
