#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/SpeakerColorName.h"
#include "Varnel/CommandLine/SpeakerReference.h"
#include "Varnel/CommandLine/SpeakersCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct ColorOptions {
    std::string name;
    std::string color;
};

int recolor(CommandContext& context, const ColorOptions& options) {
    const auto color = speakerColorNamed(options.color);
    if (!color)
        throw CommandError::usage(fmt::format("{} is no color: #RRGGBB or one of {} is needed", inQuotes(options.color),
                                              speakerColorNames()));
    EditingSession session(context);
    const QString name = QString::fromStdString(options.name);
    const std::size_t count = requireSpeakers(name, session.model());
    session.app().recolorSpeakerEverywhere(name, *color);
    session.save();
    context.note(
        fmt::format("{} is now {} ({})", inQuotes(options.name), color->toStdString(), counted(count, "speaker")));
    return success;
}

} // namespace

void addSpeakersColorCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<ColorOptions>();
    const std::string example = "  varnel speakers color Ada teal\n"
                                "  varnel speakers color Ada '#8B5CF6'\n\n"
                                "Colors by name: " +
                                speakerColorNames() + ".";
    CLI::App& command =
        addCommand(group, registry, "color", "Give a speaker another color, in all meetings", example.c_str());
    command.add_option("NAME", options->name, "The speaker's name")->required();
    command.add_option("COLOR", options->color, "#RRGGBB or a name")->required();
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return recolor(context, *options); };
    });
}

} // namespace Varnel::CommandLine
