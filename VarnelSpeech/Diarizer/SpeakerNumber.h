#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace VarnelSpeech {

// The number that a speaker's id is, when it is nothing but a decimal integer of 64 bits; one leading sign is accepted.
std::optional<std::int64_t> speakerNumber(std::string_view id);

} // namespace VarnelSpeech
