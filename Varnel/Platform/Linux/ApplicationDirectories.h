#pragma once

#include <filesystem>
#include <optional>

namespace Varnel {

// Where the application keeps what belongs to it, after the XDG base directory rules: a variable that is empty or
// not an absolute path counts as absent. Nothing is made by asking.
struct ApplicationDirectories {
    std::filesystem::path data;   // $XDG_DATA_HOME/Varnel, or the folder that the user named
    std::filesystem::path config; // $XDG_CONFIG_HOME/Varnel
    std::filesystem::path state;  // $XDG_STATE_HOME/Varnel

    std::filesystem::path store() const { return data / "Varnel.store"; }

    std::filesystem::path recordings() const { return data / "Recordings"; }

    std::filesystem::path settingsFile() const { return config / "settings.ini"; }

    std::filesystem::path logFile() const { return state / "varnel.log"; }

    // `dataFolder` takes the place of the data folder alone; a relative one is made absolute.
    static ApplicationDirectories fromEnvironment(const std::optional<std::filesystem::path>& dataFolder = {});
};

// The user's home: $HOME, else what the user database says. Throws std::runtime_error when there is neither.
std::filesystem::path homeDirectory();

// The folder that holds the running program; empty when the system does not tell.
std::filesystem::path executableDirectory();

} // namespace Varnel
