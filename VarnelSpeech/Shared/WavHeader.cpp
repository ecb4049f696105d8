#include "VarnelSpeech/Shared/WavHeader.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace VarnelSpeech {

namespace {

constexpr std::size_t headBytes = 4096;
// Programs that write a stream put a size near 2^31 or 2^32 where they cannot know it.
constexpr std::uint64_t leastUnknownSize = 0x7F000000;
constexpr std::uint32_t sizeIsElsewhere = 0xFFFFFFFF; // RF64: in the chunk "ds64"

std::uint64_t littleEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (std::size_t index = bytes.size(); index-- > 0;)
        value = value << 8U | static_cast<std::uint8_t>(bytes[index]);
    return value;
}

std::uint32_t littleEndian32(std::string_view bytes) {
    return static_cast<std::uint32_t>(littleEndian(bytes.substr(0, 4)));
}

// Bytes of a frame where each takes the same, as the chunk "fmt " has it; else 0.
std::uint64_t bytesPerFrame(std::string_view format) {
    if (format.size() < 16)
        return 0;
    const std::uint64_t channels = littleEndian(format.substr(2, 2));
    const std::uint64_t bits = littleEndian(format.substr(14, 2));
    return channels * ((bits + 7) / 8) == littleEndian(format.substr(12, 2)) ? channels * ((bits + 7) / 8) : 0;
}

} // namespace

std::optional<WavHeader> readWavHeader(int descriptor) {
    std::array<char, headBytes> buffer{};
    const ssize_t count = pread(descriptor, buffer.data(), buffer.size(), 0);
    std::string_view head(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (head.size() < 12 || (!head.starts_with("RIFF") && !head.starts_with("RF64")) || head.substr(8, 4) != "WAVE")
        return std::nullopt;
    head.remove_prefix(12);
    std::optional<WavHeader> header;
    std::uint64_t frameBytes = 0;
    std::uint64_t longSize = 0;
    while (head.size() >= 8) {
        const std::string_view id = head.substr(0, 4);
        const std::uint32_t size = littleEndian32(head.substr(4));
        head.remove_prefix(8);
        if (id == "ds64" && head.size() >= 16)
            longSize = littleEndian(head.substr(8, 8));
        if (id == "fmt ") {
            if (head.size() < 8)
                return std::nullopt;
            header =
                WavHeader{static_cast<std::uint32_t>(littleEndian(head.substr(2, 2))), littleEndian32(head.substr(4))};
            frameBytes = bytesPerFrame(head.substr(0, size));
        }
        if (id == "data") {
            const bool isUnknown = size >= leastUnknownSize && longSize == 0;
            if (header && frameBytes > 0 && !isUnknown)
                header->frames = (size == sizeIsElsewhere ? longSize : size) / frameBytes;
            return header;
        }
        if (size >= head.size())
            return header;
        head.remove_prefix(std::min<std::size_t>(head.size(), size + (size & 1U)));
    }
    return header;
}

} // namespace VarnelSpeech
