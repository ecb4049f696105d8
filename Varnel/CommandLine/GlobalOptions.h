#pragma once

#include <filesystem>
#include <optional>

namespace Varnel::CommandLine {

// The options that every command takes, before or after its name.
struct GlobalOptions {
    bool quiet = false;                                // results and errors only: no progress, no notes
    bool verbose = false;                              // log lines on standard error
    std::optional<std::filesystem::path> dataFolder;   // --data-dir
    std::optional<std::filesystem::path> modelsFolder; // --models
};

} // namespace Varnel::CommandLine
