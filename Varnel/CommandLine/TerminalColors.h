#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace Varnel::CommandLine {

// What colours a terminal shows.
enum class TerminalColors {
    none,    // or no terminal at all
    indexed, // the 256 of xterm
    full,    // 24 bits
};

// Those of the terminal that the environment tells of (TERM, COLORTERM); none when it asks for none (NO_COLOR).
TerminalColors terminalColorsOfEnvironment();

// The text in a colour "#RRGGBB"; as it is when the terminal shows none or that is no colour.
std::string colored(std::string_view text, const QString& colorHex, TerminalColors colors);

} // namespace Varnel::CommandLine
