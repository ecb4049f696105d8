#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// A universally unique identifier (RFC 4122). A default-constructed one is all zeros.
struct UUID {
    std::array<std::uint8_t, 16> bytes{};

    // Random (version 4). From any thread; allocates nothing.
    static UUID fresh();

    // The 36-character form with hyphens, digits in either case; none for any other text.
    static std::optional<UUID> parse(std::string_view text);

    // 36 characters, upper-case digits.
    std::string text() const;

    auto operator<=>(const UUID&) const = default;
};

} // namespace VarnelSpeech
