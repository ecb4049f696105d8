#include "VarnelSpeech/Shared/RepositoryDownload.h"

#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/FileDownload.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HubRequest.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/ModelRegistry.h"
#include "VarnelSpeech/Shared/RepositoryFolder.h"
#include "VarnelSpeech/Shared/RepositoryListing.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace VarnelSpeech {

namespace {

const AppLogger& logger() {
    static const AppLogger logger("DownloadUtils");
    return logger;
}

} // namespace

std::string unfinishedMarker(std::string_view variant) {
    std::string name = ".unfinished";
    if (!variant.empty())
        name += "-" + std::string(variant.substr(0, 64));
    std::replace(name.begin(), name.end(), '/', '-');
    return name;
}

RepositoryDownload::RepositoryDownload(Repo repo, std::filesystem::path root, std::string_view variant,
                                       const DownloadUtils::DownloadConfig& download, HttpSession& session)
    : repo_(repo), root_(std::move(root)), variant_(variant), download_(download), session_(session) {}

void RepositoryDownload::list() {
    RepositoryListing listing(session_, repo_, variant_, download_);
    auto files = listing.files();
    listing.requireModels(files);
    files_ = std::move(files);
    isListed_ = true;
}

void RepositoryDownload::run() {
    logger().info(fmt::format("Downloading {} from HuggingFace...", folderName(repo_)));
    if (!isListed_)
        list();
    logger().info(fmt::format("Found {} files to download", files_.size()));

    const RepositoryFolder folder(root_, folderName(repo_));
    const auto marker = folder.place(unfinishedMarker(variant_));
    {
        const FileDescriptor file(::openat(marker.directory.get(), marker.name.c_str(),
                                           O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
        if (!file)
            throw ModelFileError::fromErrno(errno, "write", marker.path);
        ::fsync(marker.directory.get());
    }
    for (std::size_t index = 0; index < files_.size(); ++index)
        fetch(files_[index], index, folder);
    ::unlinkat(marker.directory.get(), marker.name.c_str(), 0);

    logger().info(fmt::format("Downloaded {} files", files_.size()));
    logger().info(fmt::format("Downloaded all required models for {}", folderName(repo_)));
}

void RepositoryDownload::fetch(const DownloadUtils::RepoFile& file, std::size_t index,
                               const RepositoryFolder& folder) const {
    if (download_.stop.stop_requested())
        throw HttpTransportError(HttpTransportError::Case::cancelled, "The download was cancelled.");
    const auto report = [&](std::uint64_t done, std::uint64_t total) {
        if (download_.progress)
            download_.progress({file.path, index, files_.size(), done, total});
    };
    auto place = folder.place(file.path);
    if (std::uint64_t size = 0; RepositoryFolder::holdsFile(place, size)) {
        report(size, size);
        return;
    }
    std::string remotePath(remoteSubfolder(repo_));
    remotePath += (remotePath.empty() ? "" : "/") + file.path;
    const auto url = ModelRegistry::resolveModel(remoteName(repo_), ModelRegistry::escapedPath(remotePath));
    try {
        FileDownload(session_, file.path, std::move(place), report).run(hubRequest(url, download_));
    } catch (const HttpTransportError& error) {
        if (error.error() == HttpTransportError::Case::cancelled)
            throw;
        throw HuggingFaceDownloadError::downloadFailed(file.path, std::current_exception());
    }
}

} // namespace VarnelSpeech
