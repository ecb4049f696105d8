#include "VarnelSpeech/Shared/HubRequest.h"

#include <utility>

namespace VarnelSpeech {

HttpRequest hubRequest(std::string url, const DownloadUtils::DownloadConfig& download) {
    HttpRequest request;
    request.url = std::move(url);
    request.bearerToken = DownloadUtils::huggingFaceToken();
    request.timeout = download.timeout;
    request.stallLimit = download.stallLimit;
    request.stop = download.stop;
    return request;
}

} // namespace VarnelSpeech
