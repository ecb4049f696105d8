#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace Varnel {

// A folder in memory for the files that a fuzz target reads; one a process, removed at its end.
class ScratchFolder {
public:
    ScratchFolder() : path_("/dev/shm/varnel-fuzz-" + std::to_string(::getpid())) {
        std::filesystem::create_directories(path_);
    }

    ~ScratchFolder() { std::filesystem::remove_all(path_); }

    std::filesystem::path write(const std::string& name, const std::uint8_t* data, std::size_t size) const {
        const auto file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return file;
    }

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace Varnel
