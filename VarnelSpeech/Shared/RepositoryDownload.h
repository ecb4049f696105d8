#pragma once

#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpSession.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// Brings a repository's files below the models' root. The caller holds the repository's RepositoryLock.
class RepositoryDownload {
public:
    RepositoryDownload(Repo repo, std::filesystem::path root, std::string_view variant,
                       const DownloadUtils::DownloadConfig& download, HttpSession& session = HttpSession::shared());

    // Asks the hub, once, and refuses what this program can't load. run() does it unless it was done.
    void list();

    void run();

private:
    void fetch(const DownloadUtils::RepoFile& file, std::size_t index, const class RepositoryFolder& folder) const;

    Repo repo_;
    std::filesystem::path root_;
    std::string variant_;
    const DownloadUtils::DownloadConfig& download_;
    HttpSession& session_;
    bool isListed_ = false;
    std::vector<DownloadUtils::RepoFile> files_;
};

// The file in a repository's folder that is there while a fetch is under way, and after one that was cut short. With
// it, bundles that look complete by their names are known to lack files.
std::string unfinishedMarker(std::string_view variant);

} // namespace VarnelSpeech
