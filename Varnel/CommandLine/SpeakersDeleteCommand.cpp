#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/SpeakerReference.h"
#include "Varnel/CommandLine/SpeakersCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Varnel::CommandLine {

namespace {

int deleteSpeaker(CommandContext& context, const std::string& speaker) {
    EditingSession session(context);
    const QString name = QString::fromStdString(speaker);
    const std::size_t count = requireSpeakers(name, session.model());
    session.app().deleteSpeakerEverywhere(name);
    session.save();
    context.note(fmt::format("Deleted {} ({}); what was said stays, without a speaker", inQuotes(speaker),
                             counted(count, "speaker")));
    return success;
}

} // namespace

void addSpeakersDeleteCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto name = std::make_shared<std::string>();
    CLI::App& command = addCommand(group, registry, "delete", "Delete a speaker, in all meetings",
                                   "  varnel speakers delete 'Speaker 3'\n\n"
                                   "The voice goes too. Lines stay without a speaker: to give them to another one,\n"
                                   "use 'varnel speakers merge'.");
    command.add_option("NAME", *name, "The speaker's name")->required();
    command.callback([&action = registry.action, name] {
        action = [name](CommandContext& context) { return deleteSpeaker(context, *name); };
    });
}

} // namespace Varnel::CommandLine
