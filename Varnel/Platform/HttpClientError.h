#pragma once

#include <stdexcept>
#include <string>

namespace Varnel {

// A request that got no whole reply. The text is the transport library's own, on one line; it never holds a header.
class HttpClientError : public std::runtime_error {
public:
    enum class Case {
        invalidRequest,   // no http or https URL, or a header that would break the request
        connectionFailed, // name, address or proxy not reached
        securityFailed,   // TLS: a certificate that does not hold
        timedOut,         // over the time for the whole request
        connectionLost,   // the reply broke off, or never came
        tooLarge,         // over HttpClient::maximumReplyBytes
        cancelled,        // by the caller's stop token, or by the end of the client
        other,
    };

    HttpClientError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error() const { return error_; }

private:
    Case error_;
};

} // namespace Varnel
