#pragma once

#include <string>
#include <string_view>

namespace VarnelSpeech {

// Text from outside, such as a file's name, made fit for one line of a message between single quotes: control
// characters, line separators and bytes that are not UTF-8 as \n, \t, \r or \xHH a byte, quotes and backslashes with
// a backslash before them. Gives valid UTF-8; everything else stays as it is.
std::string printable(std::string_view text);

} // namespace VarnelSpeech
