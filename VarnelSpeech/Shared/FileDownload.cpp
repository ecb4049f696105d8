#include "VarnelSpeech/Shared/FileDownload.h"

#include "VarnelSpeech/Shared/FileDownloadPart.h"
#include "VarnelSpeech/Shared/HttpError.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"

#include <utility>

namespace VarnelSpeech {

FileDownload::FileDownload(HttpSession& session, std::string path, RepositoryFolder::Place place, Progress progress)
    : session_(session), path_(std::move(path)), place_(std::move(place)), progress_(std::move(progress)) {}

void FileDownload::run(const HttpRequest& request) {
    Part part(place_, progress_);
    std::uint64_t furthest = part.size();
    bool hasStartedOver = false;
    const auto mayStartOver = [&] {
        if (hasStartedOver || part.size() == 0)
            return false;
        hasStartedOver = true;
        part.startOver();
        furthest = 0;
        return true;
    };
    for (;;) {
        HttpRequest ranged = request;
        const auto rangeHeaders = part.rangeHeaders();
        ranged.headers.insert(ranged.headers.end(), rangeHeaders.begin(), rangeHeaders.end());
        HttpResponse response;
        try {
            response = session_.get(ranged, part);
        } catch (const HttpTransportError& error) {
            if (error.error() == HttpTransportError::Case::unexpectedRange && mayStartOver())
                continue;
            // A long file may take several requests, as long as each brings it on.
            if (!error.isInterruption() || part.size() <= furthest)
                throw;
            furthest = part.size();
            continue;
        }
        if (response.status == 416 && part.isWholeBy(response))
            return part.finish();
        if (response.status == 416 && mayStartOver())
            continue;
        if (response.status == 429 || response.status == 503)
            throw HuggingFaceDownloadError::rateLimited(response.status, "Rate limited while downloading " + path_);
        if (!response.isSuccess())
            throw HttpError(response.status, path_);
        return part.finish();
    }
}

} // namespace VarnelSpeech
