#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// What is wrong with a model's file or folder on this machine.
class ModelFileError : public std::runtime_error {
public:
    enum class Case {
        fileNoSuchFile,      // nothing there
        fileReadCorruptFile, // there, but no bundle
        fileWriteOutOfSpace, // the disk is full
        fileWriteRefused,    // a symbolic link, or something else that is not written through
        fileSystem,          // another failure of the file system
    };

    static ModelFileError noSuchFile(const std::filesystem::path& path);
    static ModelFileError corruptFile(const std::filesystem::path& path, const std::string& text);
    static ModelFileError refused(const std::filesystem::path& path, const std::string& reason);

    // By the errno of a failed call: fileWriteOutOfSpace where the disk, a quota or a size limit is what failed.
    // `bytes`: how much was to be written, 0 if not known.
    static ModelFileError fromErrno(int number, const std::string& action, const std::filesystem::path& path,
                                    std::uint64_t bytes = 0);
    static ModelFileError outOfSpace(const std::filesystem::path& path, std::uint64_t bytes, std::uint64_t available);

    Case error() const { return error_; }

    const std::filesystem::path& path() const { return path_; }

private:
    ModelFileError(Case error, const std::filesystem::path& path, const std::string& text);

    Case error_;
    std::filesystem::path path_;
};

} // namespace VarnelSpeech
