#pragma once

#include "Varnel/Models/Meeting.h"

#include <string>

namespace Varnel::CommandLine {

// What the assistant made of a meeting, for a terminal: its summary, action items and topics, each under a heading with
// an empty line before it. What there is not is left out.
std::string assistantText(const Meeting& meeting);

} // namespace Varnel::CommandLine
