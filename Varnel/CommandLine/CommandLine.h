#pragma once

#include "Varnel/CommandLine/CommandContext.h"

#include <string>
#include <vector>

namespace Varnel::CommandLine {

// Runs the program: `arguments` are those after its name. Returns the exit code: 0 success, 1 failure with one line
// on standard error, 2 wrong usage, 128 and the signal's number after SIGINT or SIGTERM. Needs a QCoreApplication.
int run(const std::vector<std::string>& arguments, const Streams& streams, const Installation& installation);

} // namespace Varnel::CommandLine
