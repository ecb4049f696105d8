#pragma once

#include "VarnelSpeech/Shared/FileDescriptor.h"

#include <filesystem>
#include <set>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// A repository's folder on disk, for writing. Paths are relative to it, with '/'. Nothing outside the folder is ever
// written: no symbolic link is followed below the models' root. Folders are made with mode 0700, files with 0600.
// Throws ModelFileError.
class RepositoryFolder {
public:
    // A directory that is open, and a name in it.
    struct Place {
        FileDescriptor directory;
        std::string name;
        std::filesystem::path path; // for messages
    };

    // Makes the folder where it is missing.
    RepositoryFolder(const std::filesystem::path& root, std::string_view folderName);

    const std::filesystem::path& path() const { return path_; }

    // Makes the folders above the file where they are missing.
    Place place(std::string_view relativePath) const;

    // Whether a regular file with at least one byte is there; its size goes to `size`.
    static bool holdsFile(const Place& place, std::uint64_t& size);

    // Removes the folder with everything in it but the top-level names in `kept`. Links are removed, not followed.
    static void remove(const std::filesystem::path& root, std::string_view folderName,
                       const std::set<std::string>& kept);

private:
    std::filesystem::path path_;
    FileDescriptor folder_;
};

// Makes a folder and those above it, with mode 0700. Throws ModelFileError.
void createFolders(const std::filesystem::path& path);

} // namespace VarnelSpeech
