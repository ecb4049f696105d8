#include "Varnel/Platform/Linux/HostInformation.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

namespace Varnel {

bool isTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

int terminalColumns(int descriptor) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

void makeNewFilesPrivate() {
    umask(077);
}

void ignoreBrokenPipes() {
    std::signal(SIGPIPE, SIG_IGN);
}

unsigned processorCount() {
    return std::thread::hardware_concurrency();
}

std::uint64_t memoryBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0)
        return 0;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

bool isPrivate(const std::filesystem::path& path) {
    struct stat status {};

    return stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

bool isWritable(const std::filesystem::path& folder) {
    return access(folder.c_str(), W_OK | X_OK) == 0;
}

std::optional<std::uint64_t> freeBytes(std::filesystem::path path) {
    std::error_code error;
    while (!std::filesystem::exists(path, error) && path.has_relative_path())
        path = path.parent_path();
    const auto space = std::filesystem::space(path, error);
    if (error)
        return std::nullopt;
    return space.available;
}

} // namespace Varnel
