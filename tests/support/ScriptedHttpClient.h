#pragma once

#include "Varnel/Platform/HttpClient.h"

#include <QList>

#include <functional>

namespace Varnel::Testing {

// Answers every request at once with what it is told, and keeps the requests.
class ScriptedHttpClient final : public HttpClient {
public:
    QCoro::Task<HttpReply> send(HttpRequest request) override {
        requests.append(request);
        co_return reply(request);
    }

    // A reply of that status and body.
    void answer(int status, const QByteArray& body) {
        reply = [status, body](const HttpRequest&) { return HttpReply{status, {}, body}; };
    }

    // Makes the reply, or throws.
    std::function<HttpReply(const HttpRequest&)> reply = [](const HttpRequest&) { return HttpReply{200, {}, {}}; };
    QList<HttpRequest> requests;
};

} // namespace Varnel::Testing
