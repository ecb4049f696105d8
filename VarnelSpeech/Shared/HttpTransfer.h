#pragma once

#include "VarnelSpeech/Shared/HttpSession.h"

#include <curl/curl.h>

#include <exception>
#include <string_view>

namespace VarnelSpeech {

// One request on its way: what the library's callbacks gather. Stays at its address while it runs.
class HttpTransfer {
public:
    HttpTransfer(const HttpRequest& request, HttpBodyReceiver& receiver);
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    void configure(CURL* easy, const HttpProxies& proxies);

    // What the ended transfer comes to: its response, or the error thrown.
    HttpResponse finish(CURLcode code);

private:
    static std::size_t headerCallback(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t bodyCallback(char* data, std::size_t size, std::size_t count, void* self);

    bool takeHeader(std::string_view line);
    bool takeBody(std::span<const std::byte> bytes);
    void beginOnce();

    const HttpRequest& request_;
    HttpBodyReceiver& receiver_;
    HttpResponse response_;
    std::size_t headerBytes_ = 0;
    std::size_t refusedBytes_ = 0; // of the body of an answer that nobody wants
    bool hasBegun_ = false;
    bool isEnough_ = false; // ended by us, with the status known
    std::exception_ptr failure_;
    curl_slist* headers_ = nullptr;
    char errorText_[CURL_ERROR_SIZE] = {};
};

} // namespace VarnelSpeech
