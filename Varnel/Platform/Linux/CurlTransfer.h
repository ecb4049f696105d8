#pragma once

#include "Varnel/Platform/HttpClient.h"

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Varnel {

// What a request came to: its reply, or why there is none.
struct HttpOutcome {
    struct Failure {
        HttpClientError::Case error;
        std::string text;
    };

    HttpReply reply;
    std::optional<Failure> failure;

    static HttpOutcome cancelled();

    // Throws the failure as HttpClientError.
    HttpReply take();
};

// One request on its way: the library's handle with what its callbacks gather. On one thread at a time; stays at its
// address.
class CurlTransfer {
public:
    // Throws HttpClientError (invalidRequest).
    explicit CurlTransfer(HttpRequest request);
    ~CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    CURL* handle() const { return easy_.get(); }

    // Of a transfer that has ended.
    HttpOutcome outcome(CURLcode code);

private:
    void configure();
    void addHeaders();
    static std::size_t headerCallback(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t bodyCallback(char* data, std::size_t size, std::size_t count, void* self);
    bool takeHeader(std::string_view line);
    bool takeBody(std::string_view bytes);
    int status() const;

    struct Cleanup {
        void operator()(CURL* easy) const { curl_easy_cleanup(easy); }

        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    enum class End { byServer, enoughKnown, tooLarge, outOfMemory };

    HttpRequest request_;
    QByteArray url_;
    HttpReply reply_;
    std::size_t headerBytes_ = 0;
    End end_ = End::byServer;
    std::unique_ptr<curl_slist, Cleanup> headers_;
    char errorText_[CURL_ERROR_SIZE] = {};
    std::unique_ptr<CURL, Cleanup> easy_;
};

} // namespace Varnel
