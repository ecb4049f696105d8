#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace VarnelSpeech::Testing {

// An HTTPS server on loopback with a certificate of its own making for "localhost", which nobody has signed. It answers
// every request with 200 and an empty body.
class TestTlsServer {
public:
    TestTlsServer();
    ~TestTlsServer();
    TestTlsServer(const TestTlsServer&) = delete;
    TestTlsServer& operator=(const TestTlsServer&) = delete;

    std::string url() const; // "https://localhost:<port>"
    int connectionCount() const;
    int requestCount() const; // requests that a client trusted it with

private:
    class Server;
    std::unique_ptr<Server> server_;
};

} // namespace VarnelSpeech::Testing
