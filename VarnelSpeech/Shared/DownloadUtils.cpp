#include "VarnelSpeech/Shared/DownloadUtils.h"

#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/Environment.h"
#include "VarnelSpeech/Shared/HttpError.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HubRequest.h"
#include "VarnelSpeech/Shared/RepositoryDownload.h"
#include "VarnelSpeech/Shared/RepositoryListing.h"
#include "VarnelSpeech/Shared/RepositoryLock.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <system_error>

namespace VarnelSpeech::DownloadUtils {

namespace {

constexpr std::size_t maximumBytesInMemory = std::size_t{256} * 1024 * 1024;

void wait(double seconds, const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait_for(lock, stop, std::chrono::duration<double>(std::clamp(seconds, 0.0, 1e6)), [] { return false; });
}

std::filesystem::path homeDirectory() {
    if (const auto home = environmentValue("HOME"))
        return *home;
    const passwd* user = ::getpwuid(::getuid());
    return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

} // namespace

std::vector<RepoFile> listRepoFiles(Repo repo, std::string_view variant, const DownloadConfig& download) {
    return RepositoryListing(HttpSession::shared(), repo, variant, download).files();
}

void downloadRepo(Repo repo, const std::filesystem::path& directory, std::string_view variant,
                  const DownloadConfig& download) {
    const RepositoryLock lock(directory, folderName(repo), download.stop);
    RepositoryDownload(repo, directory, variant, download).run();
}

bool isFetchUnfinished(const std::filesystem::path& repositoryFolder, std::string_view variant) {
    std::error_code ignored;
    return std::filesystem::exists(repositoryFolder / unfinishedMarker(variant), ignored);
}

std::filesystem::path defaultModelsRoot() {
    const auto dataHome = environmentValue("XDG_DATA_HOME");
    // A relative value is to be ignored (XDG Base Directory Specification).
    const std::filesystem::path base =
        dataHome && dataHome->front() == '/' ? std::filesystem::path(*dataHome) : homeDirectory() / ".local" / "share";
    return base / "VarnelSpeech" / "Models";
}

std::string huggingFaceToken() {
    for (const char* variable : {"HF_TOKEN", "HUGGING_FACE_HUB_TOKEN", "HUGGINGFACEHUB_API_TOKEN"}) {
        auto value = environmentValue(variable);
        if (!value)
            continue;
        // Read from a file, a token often has a line end, which no header may hold.
        value->erase(std::find_if_not(value->rbegin(), value->rend(),
                                      [](char c) { return c == '\n' || c == '\r' || c == ' ' || c == '\t'; })
                         .base(),
                     value->end());
        if (std::any_of(value->begin(), value->end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }))
            throw std::invalid_argument(fmt::format("The token in {} holds control characters.", variable));
        if (!value->empty())
            return *value;
    }
    return {};
}

std::vector<std::byte> fetchWithRetry(const std::string& url, const std::string& description, int maxAttempts,
                                      double baseDelay, const std::function<void(double)>& sleep,
                                      const DownloadConfig& download) {
    if (maxAttempts < 1)
        throw std::invalid_argument("fetchWithRetry: maxAttempts must be at least 1");
    const AppLogger logger("DownloadUtils");
    for (int attempt = 1;; ++attempt) {
        try {
            std::vector<std::byte> body;
            const auto response = HttpSession::shared().get(hubRequest(url, download), body, maximumBytesInMemory);
            if (!response.isSuccess())
                throw HttpError(response.status);
            return body;
        } catch (const std::runtime_error& error) {
            const auto* transport = dynamic_cast<const HttpTransportError*>(&error);
            const bool isCancelled = transport && transport->error() == HttpTransportError::Case::cancelled;
            if (attempt >= maxAttempts || isCancelled)
                throw;
            const double delay = baseDelay * std::pow(2.0, attempt - 1);
            logger.warning(fmt::format("Download attempt {} for {} failed: {}. Retrying in {:.1f}s.", attempt,
                                       description, error.what(), delay));
            if (sleep)
                sleep(delay);
            else
                wait(delay, download.stop);
        }
    }
}

} // namespace VarnelSpeech::DownloadUtils
