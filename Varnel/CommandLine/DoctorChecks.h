#pragma once

#include "Varnel/CommandLine/CommandContext.h"

#include <string>
#include <vector>

namespace Varnel::CommandLine {

// What `doctor` found about one thing.
struct Finding {
    enum class Kind {
        ok,
        note,    // works, but not as well as it could
        problem, // something that the program is for does not work
    };

    Kind kind = Kind::ok;
    std::string subject;
    std::string text;
    std::string remedy; // what to do about it; empty when there is nothing
};

// Each looks at this machine and changes nothing.
std::vector<Finding> checkData(CommandContext& context);
std::vector<Finding> checkStore(CommandContext& context);
std::vector<Finding> checkSettings(CommandContext& context);
std::vector<Finding> checkModels(CommandContext& context);
std::vector<Finding> checkMachine(CommandContext& context);

} // namespace Varnel::CommandLine
