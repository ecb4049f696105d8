#include "VarnelSpeech/Shared/AssetDownloader.h"

#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/FileDescriptor.h"
#include "VarnelSpeech/Shared/HttpSession.h"
#include "VarnelSpeech/Shared/HubRequest.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/PrintableText.h"
#include "VarnelSpeech/Shared/RepositoryFolder.h"
#include "VarnelSpeech/Shared/UrlParts.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

namespace VarnelSpeech::AssetDownloader {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t maximumBytesInMemory = std::size_t{256} * 1024 * 1024;

// A file of its own beside the destination, gone when this is.
class TemporaryFile final : public HttpBodyReceiver {
public:
    explicit TemporaryFile(const fs::path& destination) : path_(destination.string() + ".XXXXXX") {
        file_ = FileDescriptor(::mkstemp(path_.data()));
        if (!file_)
            throw ModelFileError::fromErrno(errno, "write", path_);
    }

    ~TemporaryFile() override {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return path_; }

    void begin(const HttpResponse& response) override { expected_ = response.contentLength().value_or(0); }

    void receive(std::span<const std::byte> bytes) override {
        while (!bytes.empty()) {
            const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0)
                throw ModelFileError::fromErrno(errno, "write", path_, expected_);
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        }
    }

private:
    std::string path_;
    FileDescriptor file_;
    std::uint64_t expected_ = 0;
};

void requireSuccess(const Descriptor& descriptor, const HttpResponse& response) {
    if (!response.isSuccess())
        throw Error::invalidResponse(descriptor.description, response.status);
}

} // namespace

Error::Error(Case error, int statusCode, const std::string& text)
    : std::runtime_error(text), error_(error), statusCode_(statusCode) {}

Error Error::invalidResponse(const std::string& description, int statusCode) {
    return {Case::invalidResponse, statusCode,
            fmt::format("Unexpected response (status {}) while downloading {}", statusCode, description)};
}

fs::path ensure(const Descriptor& descriptor, const DownloadUtils::DownloadConfig& download) {
    const AppLogger logger("AssetDownloader");
    const fs::path& destination = descriptor.destinationURL;
    const auto cached = [&] {
        return fmt::format("Cached {} at {}", descriptor.description, printable(destination.string()));
    };
    std::error_code ignored;
    if (descriptor.skipIfExists && fs::exists(destination, ignored)) {
        logger.info(cached());
        return destination;
    }
    if (destination.has_parent_path())
        createFolders(destination.parent_path());
    logger.info(fmt::format("Fetching {} from {}", descriptor.description, displayUrl(descriptor.remoteURL)));
    logger.info(fmt::format("Downloading {}", descriptor.description));

    HttpSession& session = HttpSession::shared();
    const HttpRequest request = hubRequest(descriptor.remoteURL, download);
    if (const auto* data = std::get_if<TransferMode::Data>(&descriptor.transferMode)) {
        std::vector<std::byte> body;
        requireSuccess(descriptor, session.get(request, body, maximumBytesInMemory));
        (*data)(body, destination);
    } else {
        TemporaryFile file(destination);
        requireSuccess(descriptor, session.get(request, file));
        std::get<TransferMode::File>(descriptor.transferMode)(file.path(), destination);
    }
    logger.info(cached());
    return destination;
}

} // namespace VarnelSpeech::AssetDownloader
