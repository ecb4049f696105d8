#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>

namespace Varnel {

// How long an audio file lasts, in seconds, above 0; none for a file that cannot be read or holds no sound. A file
// whose head does not tell is decoded to its end, until a stop is asked for. Blocks: not for the main context.
std::optional<double> audioDuration(const std::filesystem::path& file, std::stop_token stop = {});

} // namespace Varnel
