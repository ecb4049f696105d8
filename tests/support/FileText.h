#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace VarnelSpeech::Testing {

// All bytes of a file; none of one that cannot be read.
inline std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Writes a file, with the folders above it where they are missing.
inline void putFile(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

} // namespace VarnelSpeech::Testing
