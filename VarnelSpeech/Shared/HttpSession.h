#pragma once

#include "VarnelSpeech/Shared/ModelRegistry.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

struct HttpRequest {
    std::string url;                  // http or https
    std::vector<std::string> headers; // "Name: value"
    std::string bearerToken;          // sent as "Authorization" to the URL's own host alone; empty for none
    double timeout = 1800.0;          // seconds for the whole request
    double stallLimit = 60.0;         // seconds below one byte a second (in whole seconds, at least 1)
    std::stop_token stop;
};

// Status and headers of the last answer, after redirects.
struct HttpResponse {
    int status = 0;
    std::map<std::string, std::string> headers; // names in lower case

    bool isSuccess() const { return status >= 200 && status <= 299; }

    std::optional<std::string_view> header(const std::string& name) const;

    // Of the body that follows, where the server says.
    std::optional<std::uint64_t> contentLength() const;
};

// Takes a body as it arrives, on the thread of the request. What its operations throw ends the request and leaves
// get().
class HttpBodyReceiver {
public:
    virtual ~HttpBodyReceiver() = default;

    // Once, before the body (which may be empty), and only for a status of 200 to 299.
    virtual void begin(const HttpResponse& response) = 0;
    virtual void receive(std::span<const std::byte> bytes) = 0;
};

// GETs over HTTP and HTTPS. Certificates are verified; up to 10 redirects are followed, to http and https alone and
// never from https to http; connections are kept and used again. May be used from any thread: requests run side by
// side, each on its caller's thread.
class HttpSession {
public:
    static constexpr int maximumRedirects = 10;

    // The process's one session, with the proxies that the environment had at its first use.
    static HttpSession& shared();

    explicit HttpSession(HttpProxies proxies = {});
    ~HttpSession();
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    // Returns whatever status the server gave. Throws HttpTransportError, and what the receiver throws.
    HttpResponse get(const HttpRequest& request, HttpBodyReceiver& receiver);

    // The body in memory. A body above `limit` bytes is HttpTransportError tooLarge.
    HttpResponse get(const HttpRequest& request, std::vector<std::byte>& body, std::size_t limit);

private:
    class Connection;

    std::unique_ptr<Connection> take();
    void giveBack(std::unique_ptr<Connection> connection);

    const HttpProxies proxies_;
    std::mutex mutex_; // guards idle_
    std::vector<std::unique_ptr<Connection>> idle_;
};

} // namespace VarnelSpeech
