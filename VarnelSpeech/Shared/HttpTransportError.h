#pragma once

#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// A request that got no whole answer. The text is one line: the library's own words and the address.
class HttpTransportError : public std::runtime_error {
public:
    enum class Case {
        invalidURL,       // no http or https URL, or a redirect to something else
        connectionFailed, // name, address or proxy not reached
        securityFailed,   // TLS: a certificate that does not hold
        timedOut,         // over the time for one request, or stalled
        connectionLost,   // the answer broke off
        unexpectedRange,  // another part of a file than was asked for
        redirectLoop,     // over the number of redirects followed
        tooLarge,         // a body over the limit of its kind
        cancelled,        // by the caller's stop token
        other,
    };

    HttpTransportError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error() const { return error_; }

    // Whether another request may go on from where this one ended.
    bool isInterruption() const { return error_ == Case::timedOut || error_ == Case::connectionLost; }

private:
    Case error_;
};

} // namespace VarnelSpeech
