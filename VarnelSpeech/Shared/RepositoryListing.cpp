#include "VarnelSpeech/Shared/RepositoryListing.h"

#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HubRequest.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/ListingReader.h"
#include "VarnelSpeech/Shared/ModelRegistry.h"
#include "VarnelSpeech/Shared/RepositoryListingError.h"

#include <algorithm>

namespace VarnelSpeech {

namespace {

// Whether a path stays in the folder that it is relative to, and could be a file's name as it stands.
bool isSafePath(std::string_view path) {
    if (path.empty() || path.size() > 4096)
        return false;
    const auto isRefused = [](unsigned char c) { return c < 0x20 || c == 0x7f || c == '\\'; };
    if (std::any_of(path.begin(), path.end(), isRefused))
        return false;
    for (;;) {
        const auto slash = path.find('/');
        const auto component = path.substr(0, slash);
        if (component.empty() || component == "." || component == "..")
            return false;
        if (slash == std::string_view::npos)
            return true;
        path.remove_prefix(slash + 1);
    }
}

bool isBelow(std::string_view path, std::string_view folder) {
    return path.size() > folder.size() + 1 && path.starts_with(folder) && path[folder.size()] == '/';
}

} // namespace

RepositoryListing::RepositoryListing(HttpSession& session, Repo repo, std::string_view variant,
                                     const DownloadUtils::DownloadConfig& download)
    : session_(session),
      repo_(repo),
      download_(download),
      required_(ModelNames::getRequiredModelNames(repo, variant)) {}

std::vector<DownloadUtils::RepoFile> RepositoryListing::files() {
    std::vector<DownloadUtils::RepoFile> files;
    seen_.clear();
    entryCount_ = 0;
    folderCount_ = 0;
    list({}, 0, files);
    return files;
}

void RepositoryListing::list(const std::string& folder, std::size_t depth,
                             std::vector<DownloadUtils::RepoFile>& files) {
    if (depth > maximumDepth || ++folderCount_ > maximumFolders)
        throw HuggingFaceDownloadError::invalidResponse();
    for (Entry& entry : fetch(folder)) {
        if (++entryCount_ > maximumEntries)
            throw HuggingFaceDownloadError::invalidResponse();
        if (!seen_.insert(entry.path).second)
            continue;
        if (entry.isDirectory && isRequiredDirectory(entry.path))
            list(entry.path, depth + 1, files);
        else if (!entry.isDirectory && isWantedFile(entry.path))
            files.push_back({std::move(entry.path)});
    }
}

std::vector<RepositoryListing::Entry> RepositoryListing::fetch(const std::string& folder) const {
    // Where the set lies in a folder of its repository, the hub speaks of paths in the repository.
    std::string remoteFolder(remoteSubfolder(repo_));
    const std::size_t prefix = remoteFolder.empty() ? 0 : remoteFolder.size() + 1;
    if (!folder.empty())
        remoteFolder += (remoteFolder.empty() ? "" : "/") + folder;
    const std::string apiPath =
        remoteFolder.empty() ? "tree/main" : "tree/main/" + ModelRegistry::escapedPath(remoteFolder);

    std::vector<std::byte> body;
    HttpResponse response;
    try {
        response = session_.get(hubRequest(ModelRegistry::apiModels(remoteName(repo_), apiPath), download_), body,
                                maximumBodyBytes);
    } catch (const HttpTransportError& error) {
        if (error.error() == HttpTransportError::Case::tooLarge)
            throw HuggingFaceDownloadError::invalidResponse();
        throw;
    }
    if (response.status == 429 || response.status == 503)
        throw HuggingFaceDownloadError::rateLimited(response.status, "Rate limited while listing files");
    if (!response.isSuccess())
        throw HuggingFaceDownloadError::invalidResponse();

    std::vector<Entry> entries;
    for (ListingEntry& item : readListing(body, maximumEntries)) {
        const bool isDirectory = item.type == "directory";
        if (!isSafePath(item.path) || (!isDirectory && item.type != "file") ||
            (!remoteFolder.empty() && !isBelow(item.path, remoteFolder)))
            throw RepositoryListingError::unsafePath(item.path);
        entries.push_back({.path = item.path.substr(prefix), .isDirectory = isDirectory});
    }
    return entries;
}

bool RepositoryListing::isRequiredDirectory(const std::string& path) const {
    return std::any_of(required_.begin(), required_.end(), [&](const std::string& name) {
        return path == name || isBelow(path, name) || isBelow(name, path);
    });
}

bool RepositoryListing::isWantedFile(const std::string& path) const {
    if (path.ends_with(".json") || path.ends_with(".txt") || (hasTokenizer(repo_) && path.ends_with(".model")))
        return true;
    return std::any_of(required_.begin(), required_.end(),
                       [&](const std::string& name) { return path == name || isBelow(path, name); });
}

void RepositoryListing::requireModels(const std::vector<DownloadUtils::RepoFile>& files) const {
    for (const std::string& name : required_) {
        const std::string wanted = ModelNames::isBundle(name) ? name + "/model.onnx" : name;
        if (std::none_of(files.begin(), files.end(), [&](const auto& file) { return file.path == wanted; }))
            throw RepositoryListingError::missingModelFile(std::string(repositoryId(repo_)), wanted);
    }
}

} // namespace VarnelSpeech
