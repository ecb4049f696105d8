#pragma once

#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// A status outside 200 to 299.
class HttpError : public std::runtime_error {
public:
    static constexpr const char* domain = "HTTP";

    // "HTTP 404"; with what was fetched, "HTTP 404 while downloading Encoder.mlmodelc/model.onnx".
    explicit HttpError(int statusCode, const std::string& path = {})
        : std::runtime_error("HTTP " + std::to_string(statusCode) +
                             (path.empty() ? std::string() : " while downloading " + path)),
          statusCode_(statusCode) {}

    int statusCode() const { return statusCode_; }

private:
    int statusCode_;
};

} // namespace VarnelSpeech
