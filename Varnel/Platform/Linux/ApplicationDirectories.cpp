#include "Varnel/Platform/Linux/ApplicationDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace Varnel {

namespace {

std::optional<std::filesystem::path> absolutePathOf(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value != '/')
        return std::nullopt;
    return std::filesystem::path(value);
}

std::filesystem::path baseDirectory(const char* variable, const char* belowHome) {
    if (const auto path = absolutePathOf(variable))
        return *path;
    return homeDirectory() / belowHome;
}

} // namespace

std::filesystem::path homeDirectory() {
    if (const auto home = absolutePathOf("HOME"))
        return *home;
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && *found->pw_dir == '/')
        return found->pw_dir;
    throw std::runtime_error("there is no home folder: HOME is not set and the user has none");
}

ApplicationDirectories ApplicationDirectories::fromEnvironment(const std::optional<std::filesystem::path>& dataFolder) {
    ApplicationDirectories directories;
    directories.data =
        dataFolder ? std::filesystem::absolute(*dataFolder) : baseDirectory("XDG_DATA_HOME", ".local/share") / "Varnel";
    directories.config = baseDirectory("XDG_CONFIG_HOME", ".config") / "Varnel";
    directories.state = baseDirectory("XDG_STATE_HOME", ".local/state") / "Varnel";
    return directories;
}

std::filesystem::path executableDirectory() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path{} : program.parent_path();
}

} // namespace Varnel
