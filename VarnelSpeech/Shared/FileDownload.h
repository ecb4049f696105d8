#pragma once

#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpSession.h"
#include "VarnelSpeech/Shared/RepositoryFolder.h"

#include <functional>

namespace VarnelSpeech {

// Brings one file of a repository to disk. The bytes go to "<name>.part" beside it, and the whole file then takes its
// place in one step. A part that an earlier run, or a connection that broke off, has left is gone on with; the server's
// ETag is kept in "<name>.part.etag", so that parts of two versions are never joined.
class FileDownload {
public:
    // Bytes there and bytes in all (0 when not known).
    using Progress = std::function<void(std::uint64_t, std::uint64_t)>;

    // `path` is the file's in the repository, for messages.
    FileDownload(HttpSession& session, std::string path, RepositoryFolder::Place place, Progress progress);

    // `request` without range headers. Throws HttpTransportError, HttpError, HuggingFaceDownloadError (rateLimited),
    // ModelFileError.
    void run(const HttpRequest& request);

private:
    class Part;

    HttpSession& session_;
    std::string path_;
    RepositoryFolder::Place place_;
    Progress progress_;
};

} // namespace VarnelSpeech
