#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace VarnelSpeech::Testing {

// A TCP server on loopback: a thread that accepts, and one a connection. Ends with its connections when it is stopped.
class LoopbackServer {
public:
    // Serves one connection; its end closes the socket. Numbers count from 0.
    using Conversation = std::function<void(int socket, std::uint64_t number)>;

    explicit LoopbackServer(Conversation conversation);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    std::uint16_t port() const { return port_; }

    // Shuts every connection and waits for the threads. A conversation that waits for something else must have been
    // told before.
    void stop();

private:
    void accept();

    Conversation conversation_;
    std::uint16_t port_ = 0;
    int listener_ = -1;
    std::mutex mutex_; // guards all below
    std::set<int> sockets_;
    std::vector<std::thread> threads_;
    bool isStopping_ = false;
    std::thread acceptor_;
};

// A request as a client of HTTP/1.1 wrote it.
struct LoopbackRequest {
    std::string method;
    std::string target;
    std::string path;                           // of the target, %XX decoded
    std::map<std::string, std::string> headers; // names in lower case
    std::string body;
    std::string bytes;            // the whole of it, every byte
    std::uint64_t connection = 0; // which connection it came on

    std::string header(const std::string& name) const; // empty if absent
};

// The next request of a connection, with a body of the length that it tells; `buffer` keeps what came after it. None at
// the connection's end and for what is no HTTP, such as TLS.
std::optional<LoopbackRequest> readRequest(int socket, std::string& buffer);

// False when the connection is at its end.
bool sendAll(int socket, std::string_view bytes);

} // namespace VarnelSpeech::Testing
