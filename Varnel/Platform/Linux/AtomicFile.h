#pragma once

#include <filesystem>
#include <string_view>

namespace Varnel {

// Writes the whole file or nothing: a temporary file beside it, flushed to disk, takes its place. The path may hold
// any bytes that the file system takes. A file that is replaced keeps its permissions; a new one gets the process's.
// Something that is no regular file (a device, a pipe) is written to directly.
// Throws std::system_error whose text names the file.
void writeFileAtomically(const std::filesystem::path& file, std::string_view bytes);

} // namespace Varnel
