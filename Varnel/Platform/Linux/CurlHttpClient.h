#pragma once

#include "Varnel/Platform/HttpClient.h"

#include <memory>

namespace Varnel {

// HTTP and HTTPS through libcurl, on one thread that begins with the first request. The environment's proxies
// (`http_proxy`, `https_proxy`, `no_proxy`) hold for all hosts but this machine.
class CurlHttpClient final : public HttpClient {
public:
    CurlHttpClient();
    ~CurlHttpClient() override;
    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    QCoro::Task<HttpReply> send(HttpRequest request) override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace Varnel
