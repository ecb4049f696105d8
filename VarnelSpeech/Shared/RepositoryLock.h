#pragma once

#include "VarnelSpeech/Shared/FileDescriptor.h"

#include <filesystem>
#include <stop_token>
#include <string_view>

namespace VarnelSpeech {

// Keeps every other process and thread from fetching, deleting or first loading the same repository below the same
// models' root, while it lives. The lock file stays behind; the lock itself goes with its process.
// Where the root can't be written there is nothing to guard, and nothing is locked.
class RepositoryLock {
public:
    // Waits for whoever holds it. Throws HttpTransportError `cancelled` when `stop` ends the wait.
    RepositoryLock(const std::filesystem::path& root, std::string_view folderName, const std::stop_token& stop);

private:
    FileDescriptor file_;
};

} // namespace VarnelSpeech
