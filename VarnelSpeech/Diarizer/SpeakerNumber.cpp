#include "VarnelSpeech/Diarizer/SpeakerNumber.h"

#include <charconv>

namespace VarnelSpeech {

std::optional<std::int64_t> speakerNumber(std::string_view id) {
    if (id.starts_with('+')) {
        id.remove_prefix(1);
        if (id.starts_with('-')) {
            return std::nullopt;
        }
    }
    std::int64_t number = 0;
    const char* const end = id.data() + id.size();
    const auto parsed = std::from_chars(id.data(), end, number);
    if (parsed.ec != std::errc{} || parsed.ptr != end) {
        return std::nullopt;
    }
    return number;
}

} // namespace VarnelSpeech
