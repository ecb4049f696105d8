#include "Varnel/CommandLine/ErrorLine.h"

#include "VarnelSpeech/Shared/PrintableText.h"

#include <fmt/format.h>

#include <cstddef>
#include <new>

namespace Varnel::CommandLine {

namespace {

// One character of UTF-8 at the beginning of `bytes`; length 0 when they do not hold one.
struct Character {
    char32_t value = 0;
    std::size_t length = 0;
};

Character firstCharacter(std::string_view bytes) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || bytes.size() < length)
        return {};
    char32_t value = lead & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80)
            return {};
        value = (value << 6) | (byte(i) & 0x3fU);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    if (overlong || value > 0x10ffff || (value >= 0xd800 && value <= 0xdfff))
        return {};
    return {value, length};
}

bool isHarmful(char32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0) || // controls
           character == 0x2028 || character == 0x2029 ||                  // line and paragraph separators
           character == 0x061c || character == 0x200e || character == 0x200f ||
           (character >= 0x202a && character <= 0x202e) || (character >= 0x2066 && character <= 0x2069) ||
           character == 0xfeff;
}

} // namespace

std::string singleLine(std::string_view bytes) {
    std::string line;
    line.reserve(bytes.size());
    while (!bytes.empty()) {
        const Character character = firstCharacter(bytes);
        if (character.length == 0) {
            line += fmt::format("\\x{:02X}", static_cast<unsigned char>(bytes[0]));
            bytes.remove_prefix(1);
            continue;
        }
        if (character.value == U'\n')
            line += "\\n";
        else if (character.value == U'\r')
            line += "\\r";
        else if (character.value == U'\t')
            line += "\\t";
        else if (character.value < 0x80 && isHarmful(character.value))
            line += fmt::format("\\x{:02X}", static_cast<unsigned>(character.value));
        else if (isHarmful(character.value))
            line += fmt::format("\\u{:04X}", static_cast<unsigned>(character.value));
        else
            line += bytes.substr(0, character.length);
        bytes.remove_prefix(character.length);
    }
    return line;
}

std::string errorLine(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.remove_suffix(1);
    return "varnel: " + singleLine(text) + "\n";
}

std::string describe(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr)
        return "there is not enough memory";
    return error.what();
}

std::string inQuotes(std::string_view name) {
    return fmt::format("'{}'", VarnelSpeech::printable(name));
}

} // namespace Varnel::CommandLine
