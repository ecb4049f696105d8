#include "VarnelSpeech/Shared/RepositoryLock.h"

#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/RepositoryFolder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace VarnelSpeech {

namespace {

// Another process's lock gives no event that could be waited for together with a stop token.
constexpr std::chrono::milliseconds pollInterval{50};

} // namespace

RepositoryLock::RepositoryLock(const std::filesystem::path& root, std::string_view folderName,
                               const std::stop_token& stop) {
    createFolders(root);
    std::string name = "." + std::string(folderName) + ".lock";
    std::replace(name.begin(), name.end(), '/', '-');
    const std::filesystem::path path = root / name;
    file_ = FileDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file_) {
        if (errno == EROFS || errno == EACCES || errno == EPERM)
            return;
        throw ModelFileError::fromErrno(errno, "open the lock file", path);
    }

    bool hasTold = false;
    std::mutex mutex;
    std::condition_variable_any waiter;
    std::unique_lock lock(mutex);
    while (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK) // a file system without locks
            return;
        if (stop.stop_requested())
            throw HttpTransportError(HttpTransportError::Case::cancelled, "The download was cancelled.");
        if (!hasTold)
            AppLogger("DownloadUtils").info(fmt::format("Waiting for another process that uses {}", folderName));
        hasTold = true;
        waiter.wait_for(lock, stop, pollInterval, [] { return false; });
    }
}

} // namespace VarnelSpeech
