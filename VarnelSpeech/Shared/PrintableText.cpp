#include "VarnelSpeech/Shared/PrintableText.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>

namespace VarnelSpeech {

namespace {

// Length in bytes of the well-formed UTF-8 sequence at the beginning of `text` (RFC 3629), 0 if there is none.
std::size_t sequenceLength(std::string_view text) {
    const auto byte = [text](std::size_t index) -> std::uint8_t {
        return index < text.size() ? static_cast<std::uint8_t>(text[index]) : std::uint8_t{0};
    };
    const auto isTail = [&byte](std::size_t index) { return (byte(index) & 0xC0U) == 0x80U; };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return isTail(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const bool isOverlong = lead == 0xE0 && byte(1) < 0xA0;
        const bool isSurrogate = lead == 0xED && byte(1) > 0x9F;
        return isTail(1) && isTail(2) && !isOverlong && !isSurrogate ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const bool isOverlong = lead == 0xF0 && byte(1) < 0x90;
        const bool isTooLarge = lead == 0xF4 && byte(1) > 0x8F;
        return isTail(1) && isTail(2) && isTail(3) && !isOverlong && !isTooLarge ? 4 : 0;
    }
    return 0;
}

bool breaksLines(std::string_view sequence) {
    const auto first = static_cast<std::uint8_t>(sequence[0]);
    const bool isControl = sequence.size() == 1 && (first < 0x20 || first == 0x7F);
    const bool isSecondControlBlock =
        sequence.size() == 2 && first == 0xC2 && static_cast<std::uint8_t>(sequence[1]) < 0xA0;
    return isControl || isSecondControlBlock || sequence == "\u2028" || sequence == "\u2029";
}

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        const std::string_view sequence = text.substr(0, length == 0 ? 1 : length);
        text.remove_prefix(sequence.size());
        if (sequence == "\n")
            result += "\\n";
        else if (sequence == "\t")
            result += "\\t";
        else if (sequence == "\r")
            result += "\\r";
        else if (sequence == "'" || sequence == "\\")
            result.append("\\").append(sequence);
        else if (length == 0 || breaksLines(sequence))
            for (const char byte : sequence)
                result += fmt::format("\\x{:02X}", static_cast<std::uint8_t>(byte));
        else
            result += sequence;
    }
    return result;
}

} // namespace VarnelSpeech
