#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace Varnel::CommandLine {

// Text that a terminal shows as one harmless line: line ends and other controls (Unicode's too, and what changes the
// direction of writing) and bytes that are not UTF-8 become escapes such as "\n", "\x1B", "\u202E".
std::string singleLine(std::string_view bytes);

// "varnel: " and the text, on one line with its line end.
std::string errorLine(std::string_view text);

// What an exception says, for a user. A system's error has its own text, never a bare number.
std::string describe(const std::exception& error);

// A name between single quotes, as messages show it; what would break the line or the quotes is escaped.
std::string inQuotes(std::string_view name);

} // namespace Varnel::CommandLine
