#include "Varnel/CommandLine/ModelsCommand.h"

#include "Varnel/CommandLine/Command.h"

#include <CLI/CLI.hpp>

namespace Varnel::CommandLine {

void addModelsCommand(const CommandRegistry& registry) {
    CLI::App& group =
        addCommand(registry.app, registry, "models", "The speech models: which there are, fetch, verify, choose",
                   "  varnel models list\n"
                   "  varnel models fetch\n"
                   "  varnel models use starter\n\n"
                   "A set is 'hub' (what was fetched from the model hub), 'starter' (small networks that come with\n"
                   "the program), or a folder of yours. Used is the folder of --models; else the set chosen with\n"
                   "'models use'; else the hub's when it is complete; else the starter set.");
    group.require_subcommand(1);
    addModelsListCommand(group, registry);
    addModelsPathCommand(group, registry);
    addModelsVerifyCommand(group, registry);
    addModelsFetchCommand(group, registry);
    addModelsUseCommand(group, registry);
}

} // namespace Varnel::CommandLine
