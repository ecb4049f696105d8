#include "VarnelSpeech/Shared/RepositoryFolder.h"

#include "VarnelSpeech/Shared/ModelFileError.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace VarnelSpeech {

namespace {

namespace fs = std::filesystem;

constexpr mode_t folderMode = 0700;
constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// Opens the folder `name` in `parent`, made where it is missing; a link in its place is refused.
FileDescriptor descend(const FileDescriptor& parent, const std::string& name, const fs::path& path) {
    if (::mkdirat(parent.get(), name.c_str(), folderMode) != 0 && errno != EEXIST)
        throw ModelFileError::fromErrno(errno, "make the folder", path);
    FileDescriptor folder(::openat(parent.get(), name.c_str(), openFolder | O_NOFOLLOW));
    if (folder)
        return folder;
    const int error = errno;

    struct stat status {};

    if (::fstatat(parent.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode))
        throw ModelFileError::refused(path, "it is a symbolic link");
    throw ModelFileError::fromErrno(error, "open the folder", path);
}

} // namespace

void createFolders(const fs::path& path) {
    fs::path made;
    for (const fs::path& component : path) {
        made /= component;
        if (::mkdir(made.c_str(), folderMode) == 0)
            continue;
        const int error = errno;
        std::error_code ignored;
        if (!fs::is_directory(made, ignored))
            throw ModelFileError::fromErrno(error == EEXIST ? ENOTDIR : error, "make the folder", made);
    }
}

RepositoryFolder::RepositoryFolder(const fs::path& root, std::string_view folderName) : path_(root) {
    createFolders(root);
    folder_ = FileDescriptor(::open(root.c_str(), openFolder));
    if (!folder_)
        throw ModelFileError::fromErrno(errno, "open the folder", root);
    for (const fs::path& component : fs::path(folderName)) {
        path_ /= component;
        folder_ = descend(folder_, component.string(), path_);
    }
}

RepositoryFolder::Place RepositoryFolder::place(std::string_view relativePath) const {
    Place place{FileDescriptor(::fcntl(folder_.get(), F_DUPFD_CLOEXEC, 0)), {}, path_};
    if (!place.directory)
        throw ModelFileError::fromErrno(errno, "open the folder", path_);
    for (;;) {
        const auto slash = relativePath.find('/');
        place.name = relativePath.substr(0, slash);
        place.path /= place.name;
        if (place.name.empty() || place.name == "." || place.name == ".." || place.name.find('\0') != std::string::npos)
            throw ModelFileError::refused(place.path, "the path leaves the repository's folder");
        if (slash == std::string_view::npos)
            return place;
        place.directory = descend(place.directory, place.name, place.path);
        relativePath.remove_prefix(slash + 1);
    }
}

bool RepositoryFolder::holdsFile(const Place& place, std::uint64_t& size) {
    struct stat status {};

    if (::fstatat(place.directory.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode) || status.st_size <= 0)
        return false;
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

void RepositoryFolder::remove(const fs::path& root, std::string_view folderName, const std::set<std::string>& kept) {
    const fs::path folder = root / folderName;
    std::error_code error; // what cannot be removed shows when it is fetched again
    if (kept.empty() || !fs::is_directory(fs::symlink_status(folder, error))) {
        fs::remove_all(folder, error);
        return;
    }
    bool isEmpty = true;
    fs::directory_iterator entries(folder, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::error_code ignored;
        if (kept.contains(entries->path().filename().string()))
            isEmpty = false;
        else
            fs::remove_all(entries->path(), ignored);
    }
    if (isEmpty)
        fs::remove_all(folder, error);
}

} // namespace VarnelSpeech
