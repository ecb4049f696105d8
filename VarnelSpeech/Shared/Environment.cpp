#include "VarnelSpeech/Shared/Environment.h"

#include <cstdlib>

namespace VarnelSpeech {

std::optional<std::string> environmentValue(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0')
        return std::nullopt;
    return value;
}

} // namespace VarnelSpeech
