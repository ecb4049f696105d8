#pragma once

#include "Varnel/Platform/HttpClientError.h"

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QMap>
#include <QUrl>

#include <cstddef>
#include <stop_token>

namespace Varnel {

struct HttpHeader {
    QByteArray name;
    QByteArray value;
};

struct HttpRequest {
    enum class ReplyBody { kept, ignored };

    QByteArray method = "GET";
    QUrl url; // http or https
    QList<HttpHeader> headers;
    QByteArray body;     // sent with a POST
    double timeout = 60; // seconds for the whole request
    ReplyBody replyBody = ReplyBody::kept;
    std::stop_token stop; // may be asked to stop from any thread
};

struct HttpReply {
    int status = -1;                      // -1: not a reply of HTTP
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    bool isSuccess() const { return status >= 200 && status <= 299; }
};

// One request to a server that the user named, and its reply. Certificates are verified. Redirects are replies like any
// other and are not followed, so that what a request carries goes to its own host and nowhere else. Nothing is sent
// twice.
class HttpClient {
public:
    // A body beyond this is an error. A refusal (a status outside 200 to 299) is not: its first `maximumRefusalBytes`
    // are kept, cut between two characters of UTF-8.
    static constexpr std::size_t maximumReplyBytes = std::size_t{4} * 1024 * 1024;
    static constexpr std::size_t maximumRefusalBytes = std::size_t{64} * 1024;

    virtual ~HttpClient() = default;

    // Starts at once; any number of requests run side by side. Returns whatever status the server gave, from the event
    // loop. Throws HttpClientError. Main context only. The end of the client's life lets every request that is still
    // out fail as cancelled.
    virtual QCoro::Task<HttpReply> send(HttpRequest request) = 0;
};

} // namespace Varnel
