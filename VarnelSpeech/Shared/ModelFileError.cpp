#include "VarnelSpeech/Shared/ModelFileError.h"

#include "VarnelSpeech/Shared/PrintableText.h"

#include <fmt/format.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <system_error>

namespace VarnelSpeech {

namespace {

// Free bytes of the file system that holds `path`, 0 when that is not known.
std::uint64_t availableBytes(const std::filesystem::path& path) {
    struct statvfs status {};

    if (statvfs(path.parent_path().c_str(), &status) != 0)
        return 0;
    return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

} // namespace

ModelFileError::ModelFileError(Case error, const std::filesystem::path& path, const std::string& text)
    : std::runtime_error(text), error_(error), path_(path) {}

ModelFileError ModelFileError::noSuchFile(const std::filesystem::path& path) {
    return {Case::fileNoSuchFile, path, fmt::format("No such model file: '{}'", printable(path.string()))};
}

ModelFileError ModelFileError::corruptFile(const std::filesystem::path& path, const std::string& text) {
    return {Case::fileReadCorruptFile, path, text};
}

ModelFileError ModelFileError::refused(const std::filesystem::path& path, const std::string& reason) {
    return {Case::fileWriteRefused, path, fmt::format("Cannot write '{}': {}", printable(path.string()), reason)};
}

ModelFileError ModelFileError::outOfSpace(const std::filesystem::path& path, std::uint64_t bytes,
                                          std::uint64_t available) {
    return {Case::fileWriteOutOfSpace, path,
            fmt::format("Cannot write '{}': No space left on device ({} bytes to write, {} free)",
                        printable(path.string()), bytes, available)};
}

ModelFileError ModelFileError::fromErrno(int number, const std::string& action, const std::filesystem::path& path,
                                         std::uint64_t bytes) {
    if (number == ENOSPC)
        return outOfSpace(path, bytes, availableBytes(path));
    const std::string reason = std::generic_category().message(number);
    if (number == EDQUOT || number == EFBIG)
        return {Case::fileWriteOutOfSpace, path,
                fmt::format("Cannot write '{}': {} ({} bytes to write)", printable(path.string()), reason, bytes)};
    return {Case::fileSystem, path, fmt::format("Cannot {} '{}': {}", action, printable(path.string()), reason)};
}

} // namespace VarnelSpeech
