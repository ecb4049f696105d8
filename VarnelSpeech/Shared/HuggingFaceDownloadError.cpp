#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"

#include <utility>

namespace VarnelSpeech {

HuggingFaceDownloadError HuggingFaceDownloadError::rateLimited(int statusCode, const std::string& message) {
    HuggingFaceDownloadError error(Case::rateLimited, "Hugging Face rate limit encountered: " + message);
    error.statusCode_ = statusCode;
    return error;
}

HuggingFaceDownloadError HuggingFaceDownloadError::downloadFailed(const std::string& path,
                                                                  std::exception_ptr underlying) {
    HuggingFaceDownloadError error(Case::downloadFailed, "Failed to download " + path);
    error.underlying_ = std::move(underlying);
    return error;
}

HuggingFaceDownloadError HuggingFaceDownloadError::modelNotFound(const std::string& path) {
    return {Case::modelNotFound, "Model file not found: " + path};
}

HuggingFaceDownloadError HuggingFaceDownloadError::invalidResponse() {
    return {Case::invalidResponse, "Received an invalid response from Hugging Face."};
}

std::string descriptionWithCause(const std::exception& error) {
    const auto* download = dynamic_cast<const HuggingFaceDownloadError*>(&error);
    if (download == nullptr || !download->underlying())
        return error.what();
    try {
        std::rethrow_exception(download->underlying());
    } catch (const std::exception& cause) {
        return std::string(error.what()) + ": " + cause.what();
    } catch (...) {
        return error.what();
    }
}

} // namespace VarnelSpeech
