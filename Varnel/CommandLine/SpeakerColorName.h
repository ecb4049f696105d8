#pragma once

#include <QString>

#include <optional>
#include <string>

namespace Varnel::CommandLine {

// The colour that a user names, as records hold it ("#" and six upper-case hexadecimal digits): written so, in either
// case, or one of the palette's names. None for anything else.
std::optional<QString> speakerColorNamed(const std::string& text);

// "pink, green, ...": the names of the palette's colours.
std::string speakerColorNames();

} // namespace Varnel::CommandLine
