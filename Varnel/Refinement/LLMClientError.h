#pragma once

#include <QString>

#include <stdexcept>
#include <string>

namespace Varnel {

// A reply of the chat endpoint that is no answer.
class LLMClientError : public std::runtime_error {
public:
    enum class Case {
        status,         // outside 200 to 299
        malformedReply, // not the JSON of a chat completion
    };

    static constexpr const char* domain = "LLMClient";

    // "HTTP 401: " and the beginning of the body.
    static LLMClientError status(int code, const QString& body) {
        return {Case::status, code, "HTTP " + std::to_string(code) + ": " + body.toStdString()};
    }

    static LLMClientError malformedReply(const QString& text) { return {Case::malformedReply, 0, text.toStdString()}; }

    Case error() const { return error_; }

    int code() const { return code_; } // the status

private:
    LLMClientError(Case error, int code, const std::string& text)
        : std::runtime_error(text), error_(error), code_(code) {}

    Case error_;
    int code_;
};

} // namespace Varnel
