#pragma once

#include <QString>

#include <string>

namespace Varnel::CommandLine {

// A text of the command line that a record is to hold, without white space around it. `what` names it in the error:
// "the title". Throws CommandError of wrong usage for blanks alone and for what is not UTF-8.
QString textArgument(const std::string& bytes, const char* what);

} // namespace Varnel::CommandLine
