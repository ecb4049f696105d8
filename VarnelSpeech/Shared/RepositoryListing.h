#pragma once

#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpSession.h"

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// Lists a repository of the hub, folder by folder, and chooses the files to fetch. Throws
// HuggingFaceDownloadError (rateLimited, invalidResponse), RepositoryListingError (unsafePath), HttpTransportError.
class RepositoryListing {
public:
    // Bounds on what a hub may make this program do.
    static constexpr std::size_t maximumBodyBytes = std::size_t{64} * 1024 * 1024;
    static constexpr std::size_t maximumEntries = 200'000; // of all folders together
    static constexpr std::size_t maximumFolders = 1'000;
    static constexpr std::size_t maximumDepth = 16;

    RepositoryListing(HttpSession& session, Repo repo, std::string_view variant,
                      const DownloadUtils::DownloadConfig& download);

    // Paths relative to the repository's (sub-)folder, in the hub's order.
    std::vector<DownloadUtils::RepoFile> files();

    // Throws RepositoryListingError missingModelFile unless `files` holds a network for each required bundle, and
    // each required data file.
    void requireModels(const std::vector<DownloadUtils::RepoFile>& files) const;

private:
    struct Entry {
        std::string path; // in the repository, the sub-folder's prefix left out
        bool isDirectory = false;
    };

    std::vector<Entry> fetch(const std::string& folder) const;
    void list(const std::string& folder, std::size_t depth, std::vector<DownloadUtils::RepoFile>& files);
    bool isRequiredDirectory(const std::string& path) const;
    bool isWantedFile(const std::string& path) const;

    HttpSession& session_;
    Repo repo_;
    const DownloadUtils::DownloadConfig& download_;
    std::set<std::string> required_;
    std::set<std::string> seen_; // no path is taken twice
    std::size_t entryCount_ = 0;
    std::size_t folderCount_ = 0;
};

} // namespace VarnelSpeech
