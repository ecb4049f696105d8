#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/SpeakerReference.h"
#include "Varnel/CommandLine/SpeakersCommand.h"
#include "Varnel/CommandLine/TextArgument.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct RenameOptions {
    std::string speaker;
    std::string name;
    std::string meeting; // empty: everywhere
};

int rename(CommandContext& context, const RenameOptions& options) {
    const QString name = textArgument(options.name, "the name");
    EditingSession session(context);
    QString oldName = QString::fromStdString(options.speaker);
    std::string where;
    if (options.meeting.empty()) {
        where = counted(requireSpeakers(oldName, session.model()), "speaker");
        session.app().renameSpeakerEverywhere(oldName, name);
    } else {
        const auto meeting = meetingNamed(options.meeting, session.model());
        const auto speaker = speakerNamed(options.speaker, *meeting);
        oldName = speaker->name();
        where = inQuotes(meeting->title().toStdString());
        session.app().renameSpeaker(meeting->id(), speaker->id(), name);
    }
    session.save();
    context.note(
        fmt::format("{} is now {} ({})", inQuotes(oldName.toStdString()), inQuotes(name.toStdString()), where));
    return success;
}

} // namespace

void addSpeakersRenameCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<RenameOptions>();
    CLI::App& command =
        addCommand(group, registry, "rename", "Give a speaker another name",
                   "  varnel speakers rename 'Speaker 1' Ada --meeting latest\n"
                   "  varnel speakers rename Ada 'Ada L.'\n\n"
                   "Without --meeting everybody of that name, in all meetings. Later meetings in which\n"
                   "the voice is recognised take the new name.");
    command.add_option("SPEAKER", options->speaker, "The speaker")->required();
    command.add_option("NAME", options->name, "The new name")->required();
    addMeetingOption(command, options->meeting, MeetingOption::optional);
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return rename(context, *options); };
    });
}

} // namespace Varnel::CommandLine
