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

int forget(CommandContext& context, const std::string& speaker) {
    EditingSession session(context);
    const QString name = QString::fromStdString(speaker);
    const std::size_t count = requireSpeakers(name, session.model());
    session.app().forgetSpeakerVoice(name);
    session.save();
    context.note(fmt::format("The voice of {} is forgotten ({})", inQuotes(speaker), counted(count, "speaker")));
    return success;
}

} // namespace

void addSpeakersForgetCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto name = std::make_shared<std::string>();
    CLI::App& command = addCommand(group, registry, "forget", "Forget a speaker's voice, in all meetings",
                                   "  varnel speakers forget Ada\n\n"
                                   "Names and lines stay. Later meetings no longer recognise the speaker, who is not\n"
                                   "you any more either.");
    command.add_option("NAME", *name, "The speaker's name")->required();
    command.callback([&action = registry.action, name] {
        action = [name](CommandContext& context) { return forget(context, *name); };
    });
}

} // namespace Varnel::CommandLine
