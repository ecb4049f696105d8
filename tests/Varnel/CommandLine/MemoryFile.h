#pragma once

#include <cstdio>
#include <string>

namespace Varnel::CommandLine::Testing {

// A stream whose bytes are kept in memory.
class MemoryFile {
public:
    MemoryFile() : file_(std::tmpfile()) {}

    explicit MemoryFile(const std::string& content) : MemoryFile() {
        std::fwrite(content.data(), 1, content.size(), file_);
        std::rewind(file_);
    }

    ~MemoryFile() { std::fclose(file_); }

    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::FILE* stream() { return file_; }

    // Everything that was written so far.
    std::string text() {
        std::fflush(file_);
        std::string content(static_cast<std::size_t>(std::ftell(file_)), '\0');
        std::rewind(file_);
        content.resize(std::fread(content.data(), 1, content.size(), file_));
        return content;
    }

private:
    std::FILE* file_;
};

} // namespace Varnel::CommandLine::Testing
