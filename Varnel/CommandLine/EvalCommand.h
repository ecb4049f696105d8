#pragma once

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

struct CommandRegistry;

// Below "eval", beside the word error rate.
void addEvalDerCommand(CLI::App& group, const CommandRegistry& registry);

} // namespace Varnel::CommandLine
