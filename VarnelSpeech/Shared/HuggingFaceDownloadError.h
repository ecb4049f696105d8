#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// What goes wrong between this machine and the model hub.
class HuggingFaceDownloadError : public std::runtime_error {
public:
    enum class Case {
        rateLimited,     // the hub asks to come back later (429, 503)
        downloadFailed,  // a file did not arrive; underlying() says why
        modelNotFound,   // a file that must be there is not
        invalidResponse, // a listing that is none
    };

    static HuggingFaceDownloadError rateLimited(int statusCode, const std::string& message);
    static HuggingFaceDownloadError downloadFailed(const std::string& path, std::exception_ptr underlying);
    static HuggingFaceDownloadError modelNotFound(const std::string& path);
    static HuggingFaceDownloadError invalidResponse();

    Case error() const { return error_; }

    // 0 unless rateLimited.
    int statusCode() const { return statusCode_; }

    // Null unless downloadFailed.
    const std::exception_ptr& underlying() const { return underlying_; }

private:
    HuggingFaceDownloadError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error_;
    int statusCode_ = 0;
    std::exception_ptr underlying_;
};

// An error's text, followed by ": " and that of the error that caused it, where one is known.
std::string descriptionWithCause(const std::exception& error);

} // namespace VarnelSpeech
