#pragma once

#include "support/LoopbackServer.h"

#include <condition_variable>
#include <cstddef>
#include <limits>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Varnel::Testing {

// An OpenAI-compatible chat endpoint on loopback that says what it is told. It keeps every byte of every request. May
// be used from any thread. Ends with its connections when it goes.
class ScriptedChatServer {
public:
    using Request = VarnelSpeech::Testing::LoopbackRequest;

    // What a request asks for, told by its path and its system message.
    enum class Question { names, summary, actionItems, topics, models, other };

    struct Reply {
        int status = 200;
        std::string body;
        std::map<std::string, std::string> headers;
        std::size_t cutAt = std::numeric_limits<std::size_t>::max(); // closes the connection at that byte of the body

        // A chat completion with that text.
        static Reply saying(const std::string& content);
        static Reply of(int status, std::string body = {});
        static Reply redirectTo(const std::string& url);
        Reply cut(std::size_t at) const;
    };

    ScriptedChatServer();
    ~ScriptedChatServer();
    ScriptedChatServer(const ScriptedChatServer&) = delete;
    ScriptedChatServer& operator=(const ScriptedChatServer&) = delete;

    std::string baseURL() const; // "http://127.0.0.1:<port>/v1"

    // The reply to a question from now on; an empty text before.
    void answer(Question question, Reply reply);

    void answer(Question question, const std::string& content) { answer(question, Reply::saying(content)); }

    void answerAll(const Reply& reply);

    // No request is answered from now on until `release`.
    void hold();
    void release();

    std::vector<Request> requests() const;
    std::vector<Request> requestsFor(Question question) const;
    // Waits until so many requests have come; false after a generous time.
    bool waitForRequests(std::size_t count) const;

private:
    void serve(int socket, std::uint64_t number);
    static Question questionOf(const Request& request);
    bool waitForRelease();

    mutable std::mutex mutex_; // guards all below
    mutable std::condition_variable changed_;
    std::map<Question, Reply> replies_;
    std::vector<Request> requests_;
    bool isHolding_ = false;
    bool isStopping_ = false;
    VarnelSpeech::Testing::LoopbackServer sockets_{[this](int socket, std::uint64_t number) { serve(socket, number); }};
};

} // namespace Varnel::Testing
