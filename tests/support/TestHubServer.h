#pragma once

#include "support/LoopbackServer.h"
#include "support/TestHub.h"

#include <condition_variable>
#include <mutex>
#include <optional>

namespace VarnelSpeech::Testing {

// The server behind a TestHub.
class TestHub::Server {
public:
    Server() = default;
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t port() const { return sockets_.port(); }

    mutable std::mutex mutex_; // guards all below
    mutable std::condition_variable changed_;
    std::map<std::string, std::map<std::string, std::string>> repositories_; // name to path to bytes
    std::map<std::string, std::string> answers_;
    std::map<std::string, HubFault> faults_;
    std::vector<Request> requests_;
    std::size_t stalls_ = 0;
    bool isReleased_ = false;
    bool isStopping_ = false;
    std::function<void(const Request&)> handler_;

private:
    struct Answer {
        int status = 200;
        std::string body;
        std::map<std::string, std::string> headers;
        std::uint64_t offset = 0;      // of the body in the whole file
        std::optional<HubFault> fault; // of how the body is sent
    };

    void serve(int socket, std::uint64_t number);
    Answer answer(const Request& request);

    std::optional<std::string> bodyFor(const std::string& path) const;

    // The direct children of a folder, with more keys than a client needs.
    static std::string list(const std::map<std::string, std::string>& files, const std::string& folder);

    static void applyRange(const Request& request, Answer& answer);

    // False when the connection is at its end.
    bool send(int socket, const Answer& answer);

    // True when the stall is released, false when the server ends.
    bool stall();

    LoopbackServer sockets_{[this](int socket, std::uint64_t number) { serve(socket, number); }};
};

} // namespace VarnelSpeech::Testing
