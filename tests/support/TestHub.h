#pragma once

#include "support/HubFault.h"
#include "support/LoopbackServer.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace VarnelSpeech::Testing {

// A model hub on loopback: a real HTTP/1.1 server that lists repositories and serves their files, with ranges and
// ETags, and misbehaves where told. It also stands for a proxy: a request for a whole URL is served by that URL's path.
// May be used from any thread. Ends with its connections when it goes.
class TestHub {
public:
    using Request = LoopbackRequest;

    TestHub();
    ~TestHub();
    TestHub(const TestHub&) = delete;
    TestHub& operator=(const TestHub&) = delete;

    std::uint16_t port() const;
    std::string url() const;            // "http://127.0.0.1:<port>"
    std::string urlOfOtherHost() const; // the same server, as "http://localhost:<port>"

    // Puts a file into a repository such as "Riogleiz/silero-vad-coreml".
    void addFile(const std::string& repository, const std::string& path, std::string bytes);
    // Puts every regular file below `folder` into it, at the same relative paths below `prefix`.
    void addFolder(const std::string& repository, const std::filesystem::path& folder, const std::string& prefix = {});
    void removeFile(const std::string& repository, const std::string& path);

    // Paths of the hub, for faults and for counting: "/api/models/<repository>/tree/main[/<folder>]" and
    // "/<repository>/resolve/main/<path>".
    static std::string listingPath(const std::string& repository, const std::string& folder = {});
    static std::string filePath(const std::string& repository, const std::string& path);

    // A body for any path, instead of what the hub would answer.
    void setAnswer(const std::string& path, std::string body);
    void setFault(const std::string& path, HubFault fault);
    void clearFault(const std::string& path);

    std::vector<Request> requests() const;
    std::vector<Request> requestsFor(const std::string& path) const;
    void forgetRequests();

    // Waits until a stall has begun on so many connections; false after `seconds`.
    bool waitForStalls(std::size_t count, double seconds = 60.0) const;
    // Lets the stalled connections go on, now and later.
    void releaseStalls();
    // Called on the server's thread for each request, before its answer.
    void onRequest(std::function<void(const Request&)> handler);

private:
    class Server;
    std::unique_ptr<Server> server_;
};

} // namespace VarnelSpeech::Testing
