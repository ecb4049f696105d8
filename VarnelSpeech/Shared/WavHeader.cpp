#include "VarnelSpeech/Shared/WavHeader.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace VarnelSpeech {

namespace {

constexpr std::size_t headBytes = 4096;

std::uint32_t littleEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t index = bytes.size(); index-- > 0;)
        value = value << 8U | static_cast<std::uint8_t>(bytes[index]);
    return value;
}

} // namespace

std::optional<WavHeader> readWavHeader(int descriptor) {
    std::array<char, headBytes> buffer{};
    const ssize_t count = pread(descriptor, buffer.data(), buffer.size(), 0);
    std::string_view head(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (head.size() < 12 || (!head.starts_with("RIFF") && !head.starts_with("RF64")) || head.substr(8, 4) != "WAVE")
        return std::nullopt;
    head.remove_prefix(12);
    while (head.size() >= 8) {
        const std::string_view id = head.substr(0, 4);
        const std::size_t size = littleEndian(head.substr(4, 4));
        head.remove_prefix(8);
        if (id == "fmt ") {
            if (head.size() < 8)
                return std::nullopt;
            return WavHeader{littleEndian(head.substr(2, 2)), littleEndian(head.substr(4, 4))};
        }
        if (size >= head.size())
            return std::nullopt;
        head.remove_prefix(size + (size & 1U));
    }
    return std::nullopt;
}

} // namespace VarnelSpeech
