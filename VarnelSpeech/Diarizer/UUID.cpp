#include "VarnelSpeech/Diarizer/UUID.h"

#include <cstring>
#include <random>

namespace VarnelSpeech {

namespace {

constexpr std::size_t textLength = 36;

bool isHyphenPlace(std::size_t index) {
    return index == 8 || index == 13 || index == 18 || index == 23;
}

std::mt19937_64 seededGenerator() {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
    return std::mt19937_64(seed);
}

int digitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

} // namespace

UUID UUID::fresh() {
    thread_local std::mt19937_64 generator = seededGenerator();
    const std::array<std::uint64_t, 2> random{generator(), generator()};
    UUID made;
    std::memcpy(made.bytes.data(), random.data(), made.bytes.size());
    made.bytes[6] = static_cast<std::uint8_t>((made.bytes[6] & 0x0F) | 0x40); // version 4
    made.bytes[8] = static_cast<std::uint8_t>((made.bytes[8] & 0x3F) | 0x80); // the variant of RFC 4122
    return made;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != textLength) {
        return std::nullopt;
    }
    UUID parsed;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < textLength; ++i) {
        if (isHyphenPlace(i)) {
            if (text[i] != '-') {
                return std::nullopt;
            }
            continue;
        }
        const int value = digitValue(text[i]);
        if (value < 0) {
            return std::nullopt;
        }
        std::uint8_t& byte = parsed.bytes[digits / 2];
        byte = static_cast<std::uint8_t>(byte * 16 + value);
        ++digits;
    }
    return parsed;
}

std::string UUID::text() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(textLength);
    for (const std::uint8_t byte : bytes) {
        if (isHyphenPlace(text.size())) {
            text += '-';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

} // namespace VarnelSpeech
