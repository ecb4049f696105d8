#include "Varnel/CommandLine/AiCommand.h"

#include "Varnel/CommandLine/Command.h"

#include <CLI/CLI.hpp>

namespace Varnel::CommandLine {

void addAiCommand(const CommandRegistry& registry) {
    CLI::App& group = addCommand(registry.app, registry, "ai", "Speakers' names, summaries, action items and topics",
                                 "  varnel ai provider ollama\n"
                                 "  varnel ai ping\n"
                                 "  varnel settings set aiEnabled true\n"
                                 "  varnel ai run latest\n\n"
                                 "A language model is asked over HTTP, by default one that runs on this machine.");
    group.require_subcommand(1);
    addAiRunCommand(group, registry);
    addAiPingCommand(group, registry);
    addAiProviderCommand(group, registry);
}

} // namespace Varnel::CommandLine
