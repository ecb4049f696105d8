#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"
#include "Varnel/CommandLine/TextArgument.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct RenameOptions {
    std::string meeting;
    std::string title;
};

int rename(CommandContext& context, const RenameOptions& options) {
    const QString title = textArgument(options.title, "the title");
    EditingSession session(context);
    const auto meeting = meetingNamed(options.meeting, session.model());
    const std::string before = inQuotes(meeting->title().toStdString());
    session.app().renameMeeting(meeting->id(), title);
    session.save();
    context.note(fmt::format("{} is now {}", before, inQuotes(title.toStdString())));
    return success;
}

} // namespace

void addMeetingsRenameCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<RenameOptions>();
    CLI::App& command = addCommand(group, registry, "rename", "Give a meeting another title",
                                   "  varnel meetings rename latest 'Open day, first plan'");
    command.add_option("MEETING", options->meeting, "Id, a unique beginning of it, or 'latest'")->required();
    command.add_option("TITLE", options->title, "The new title")->required();
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return rename(context, *options); };
    });
}

} // namespace Varnel::CommandLine
