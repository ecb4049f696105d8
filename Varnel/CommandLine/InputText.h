#pragma once

#include <cstddef>
#include <string>

namespace Varnel::CommandLine {

class CommandContext;

// A whole file that the user names, "-" for standard input. Throws CommandError, also past `limit` bytes.
std::string inputText(const std::string& name, std::size_t limit, CommandContext& context);

} // namespace Varnel::CommandLine
