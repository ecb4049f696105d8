#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace VarnelSpeech {

struct FileDigest {
    std::string sha256; // 64 lower-case hexadecimal digits
    std::uint64_t size = 0;
};

// Reads a file once, in blocks. Throws std::system_error with the reason: not there, no permission, a read error.
FileDigest digestOfFile(const std::filesystem::path& path);

} // namespace VarnelSpeech
