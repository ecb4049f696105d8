#pragma once

#include <optional>
#include <string>

namespace VarnelSpeech {

// The value of an environment variable. An empty one counts as absent.
std::optional<std::string> environmentValue(const char* name);

} // namespace VarnelSpeech
