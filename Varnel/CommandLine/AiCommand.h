#pragma once

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

struct CommandRegistry;

// The commands below "ai".
void addAiRunCommand(CLI::App& group, const CommandRegistry& registry);
void addAiPingCommand(CLI::App& group, const CommandRegistry& registry);
void addAiProviderCommand(CLI::App& group, const CommandRegistry& registry);

} // namespace Varnel::CommandLine
