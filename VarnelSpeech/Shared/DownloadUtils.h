#pragma once

#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Shared/ModelNames.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech::DownloadUtils {

// How far a download is: for progress bars. Called on the downloading thread.
struct Progress {
    std::string path;          // of the file in work
    std::size_t fileIndex = 0; // from 0
    std::size_t fileCount = 0;
    std::uint64_t bytesDone = 0;  // of this file
    std::uint64_t bytesTotal = 0; // 0 when the server does not say
};

struct DownloadConfig {
    double timeout = 1800.0;  // seconds, for one request
    double stallLimit = 60.0; // seconds below one byte a second, after which a request is given up
    std::function<void(const Progress&)> progress;
    std::stop_token stop; // a stopped download leaves what it has; the next one goes on from there
};

using LoadedModels = std::map<std::string, std::shared_ptr<MLModel>>;

// Whether a set may be fetched, and deleted and fetched again once. A set that is no cache (the starter set, a folder
// of the user's) is opened with `never`: what is missing or damaged there is an error and nothing is touched.
enum class Fetching { whenMissing, never };

// Name of a bundle to how much of the machine its predictions may take, where that differs from the configuration's.
using ThreadingByName = std::map<std::string, MLThreading, std::less<>>;

// Loads the named bundles of `repo` from `directory`/<folder of the repo>, fetching what is missing first; after a
// failed load the repository's folder is deleted and fetched once more (of `diarizer`, what belongs to the variant).
// `directory` is the models' root. Of the configuration the compute units and the threading count; low-precision
// accumulation is always allowed. Other processes that use the same repository wait for one another.
// A stop ends the loading too, between two networks, as a cancelled HttpTransportError.
// A cancelled download, and a hub whose listing has no networks for this program, leave the folder as it is.
// Throws HuggingFaceDownloadError, RepositoryListingError, ModelFileError, HttpError, HttpTransportError, MLModelError.
LoadedModels loadModels(Repo repo, const std::vector<std::string>& modelNames, const std::filesystem::path& directory,
                        const MLModelConfiguration& configuration, std::string_view variant = {},
                        Fetching fetching = Fetching::whenMissing, const DownloadConfig& download = {},
                        const ThreadingByName& threading = {});

// One entry of a repository's listing.
struct RepoFile {
    std::string path; // in the repository, with '/'
};

// The files to fetch for a repository: everything below a required bundle, and vocabularies and metadata.
std::vector<RepoFile> listRepoFiles(Repo repo, std::string_view variant = {}, const DownloadConfig& download = {});

// Fetches every listed file that is absent or empty. What is there is kept; what an ended run has left half done is
// gone on with. Refuses a listing that lacks a required network before the first byte.
void downloadRepo(Repo repo, const std::filesystem::path& directory, std::string_view variant = {},
                  const DownloadConfig& download = {});

// Whether a fetch into this folder has begun and not come to its end.
bool isFetchUnfinished(const std::filesystem::path& repositoryFolder, std::string_view variant = {});

// The default models' root, <Application Support>/VarnelSpeech/Models: below $XDG_DATA_HOME or ~/.local/share.
std::filesystem::path defaultModelsRoot();

// The first of "HF_TOKEN", "HUGGING_FACE_HUB_TOKEN", "HUGGINGFACEHUB_API_TOKEN" that has a value; else empty.
std::string huggingFaceToken();

// GETs a URL into memory with exponential back-off: `baseDelay` * 2^(attempt - 1) seconds after each failed attempt but
// the last, whose error is passed on (HttpError or HttpTransportError). At most 256 MiB. `sleep` waits (seconds); none:
// until the time is over or `download.stop` ends it. Throws std::invalid_argument for `maxAttempts` below 1.
std::vector<std::byte> fetchWithRetry(const std::string& url, const std::string& description, int maxAttempts = 3,
                                      double baseDelay = 1.0, const std::function<void(double)>& sleep = {},
                                      const DownloadConfig& download = {});

} // namespace VarnelSpeech::DownloadUtils
