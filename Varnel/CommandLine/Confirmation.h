#pragma once

#include <string>

namespace Varnel::CommandLine {

class CommandContext;

// Whether what cannot be undone was asked for already.
enum class Consent { given, needed };

// Asks on the terminal and goes on after a "y" or "yes". Throws CommandError for any other answer ("nothing was
// changed") and where there is nobody to ask: `option` is what gives consent in advance.
void requireConsent(CommandContext& context, Consent consent, const std::string& question, const char* option);

} // namespace Varnel::CommandLine
