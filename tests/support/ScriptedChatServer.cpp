#include "support/ScriptedChatServer.h"

#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <utility>

namespace Varnel::Testing {

namespace {

constexpr std::array questions{ScriptedChatServer::Question::names,       ScriptedChatServer::Question::summary,
                               ScriptedChatServer::Question::actionItems, ScriptedChatServer::Question::topics,
                               ScriptedChatServer::Question::models,      ScriptedChatServer::Question::other};

} // namespace

using Reply = ScriptedChatServer::Reply;

Reply Reply::saying(const std::string& content) {
    const nlohmann::ordered_json message{{"role", "assistant"}, {"content", content}};
    const nlohmann::ordered_json choice{{"index", 0}, {"message", message}, {"finish_reason", "stop"}};
    const nlohmann::ordered_json body{{"id", "chatcmpl-1"},
                                      {"object", "chat.completion"},
                                      {"choices", nlohmann::ordered_json::array({choice})},
                                      {"usage", {{"total_tokens", 12}}}};
    return of(200, body.dump());
}

Reply Reply::of(int status, std::string body) {
    Reply reply;
    reply.status = status;
    reply.body = std::move(body);
    return reply;
}

Reply Reply::redirectTo(const std::string& url) {
    Reply reply = of(307, "moved");
    reply.headers["Location"] = url;
    return reply;
}

Reply Reply::cut(std::size_t at) const {
    Reply reply = *this;
    reply.cutAt = at;
    return reply;
}

ScriptedChatServer::ScriptedChatServer() {
    for (const Question question : questions)
        answer(question, std::string());
}

ScriptedChatServer::~ScriptedChatServer() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        changed_.notify_all();
    }
    sockets_.stop();
}

std::string ScriptedChatServer::baseURL() const {
    return "http://127.0.0.1:" + std::to_string(sockets_.port()) + "/v1";
}

void ScriptedChatServer::answer(Question question, Reply reply) {
    const std::lock_guard lock(mutex_);
    replies_[question] = std::move(reply);
}

void ScriptedChatServer::answerAll(const Reply& reply) {
    for (const Question question : questions)
        answer(question, reply);
}

void ScriptedChatServer::hold() {
    const std::lock_guard lock(mutex_);
    isHolding_ = true;
}

void ScriptedChatServer::release() {
    const std::lock_guard lock(mutex_);
    isHolding_ = false;
    changed_.notify_all();
}

std::vector<ScriptedChatServer::Request> ScriptedChatServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<ScriptedChatServer::Request> ScriptedChatServer::requestsFor(Question question) const {
    std::vector<Request> result;
    for (const Request& request : requests()) {
        if (questionOf(request) == question)
            result.push_back(request);
    }
    return result;
}

bool ScriptedChatServer::waitForRequests(std::size_t count) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::minutes(1), [&] { return requests_.size() >= count; });
}

void ScriptedChatServer::serve(int socket, std::uint64_t number) {
    using VarnelSpeech::Testing::sendAll;
    std::string buffer;
    while (auto request = VarnelSpeech::Testing::readRequest(socket, buffer)) {
        request->connection = number;
        Reply reply;
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(*request);
            reply = replies_[questionOf(*request)];
            changed_.notify_all();
        }
        if (!waitForRelease())
            return;
        std::string head = "HTTP/1.1 " + std::to_string(reply.status) +
                           " X\r\nContent-Length: " + std::to_string(reply.body.size()) +
                           "\r\nContent-Type: application/json\r\n";
        for (const auto& [name, value] : reply.headers)
            head += name + ": " + value + "\r\n";
        const bool isSent = sendAll(socket, head + "\r\n" + reply.body.substr(0, reply.cutAt));
        if (!isSent || reply.cutAt < reply.body.size())
            return;
    }
}

ScriptedChatServer::Question ScriptedChatServer::questionOf(const Request& request) {
    if (request.path.ends_with("/models"))
        return Question::models;
    static const std::map<Question, std::string> beginnings{{Question::names, "You map anonymous speaker labels"},
                                                            {Question::summary, "You write concise meeting summaries"},
                                                            {Question::actionItems, "You extract action items"},
                                                            {Question::topics, "You segment a meeting transcript"}};
    for (const auto& [question, beginning] : beginnings) {
        if (request.body.find("\"content\":\"" + beginning) != std::string::npos)
            return question;
    }
    return Question::other;
}

bool ScriptedChatServer::waitForRelease() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !isHolding_ || isStopping_; });
    return !isStopping_;
}

} // namespace Varnel::Testing
