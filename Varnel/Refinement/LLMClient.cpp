#include "Varnel/Refinement/LLMClient.h"

#include "Varnel/Refinement/ChatReply.h"
#include "Varnel/Refinement/ChatRequest.h"
#include "Varnel/Refinement/LLMClientError.h"

#include <QStringDecoder>

#include <utility>

namespace Varnel {

namespace {

constexpr double pingTimeout = 10;      // seconds
constexpr qsizetype bodyInError = 300;  // characters
constexpr qsizetype shortestSecret = 4; // masking a shorter one would tell it and garble the text

// Empty for bytes that are not UTF-8.
QString textOf(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString() : text;
}

} // namespace

LLMClient::LLMClient(LLMConfig config, HttpClient& http) : config_(std::move(config)), http_(&http) {}

// The coroutines have the client by value: its owner may be gone before they end.
QCoro::Task<QString> LLMClient::chat(QString system, QString user, double temperature, double timeout,
                                     std::stop_token stop) const {
    return chat(*this, std::move(system), std::move(user), temperature, timeout, std::move(stop));
}

QCoro::Task<bool> LLMClient::ping(std::stop_token stop) const {
    return ping(*this, std::move(stop));
}

QCoro::Task<QString> LLMClient::chat(LLMClient client, QString system, QString user, double temperature, double timeout,
                                     std::stop_token stop) {
    HttpRequest request = client.request("POST", "chat/completions", timeout, std::move(stop));
    request.headers.prepend({"Content-Type", "application/json"});
    request.body = client.body(std::move(system), std::move(user), temperature);
    const HttpReply reply = co_await client.http_->send(std::move(request));
    if (!reply.isSuccess())
        throw LLMClientError::status(reply.status, firstCharacters(client.withoutKey(textOf(reply.body)), bodyInError));
    QString text;
    try {
        text = ChatReply::text(reply.body);
    } catch (const LLMClientError& error) {
        throw LLMClientError::malformedReply(client.withoutKey(QString::fromUtf8(error.what())));
    }
    co_return ChatReply::withoutReasoning(text);
}

QCoro::Task<bool> LLMClient::ping(LLMClient client, std::stop_token stop) {
    HttpRequest request = client.request("GET", "models", pingTimeout, std::move(stop));
    request.replyBody = HttpRequest::ReplyBody::ignored;
    const HttpReply reply = co_await client.http_->send(std::move(request));
    co_return reply.isSuccess();
}

HttpRequest LLMClient::request(QByteArray method, const char* path, double timeout, std::stop_token stop) const {
    HttpRequest request;
    request.method = std::move(method);
    request.url = config_.endpoint(path);
    request.timeout = timeout;
    request.stop = std::move(stop);
    if (config_.apiKey)
        request.headers.append({"Authorization", "Bearer " + config_.apiKey->toUtf8()});
    return request;
}

QByteArray LLMClient::body(QString system, QString user, double temperature) const {
    ChatRequest request;
    request.model = config_.model;
    request.messages = {{QStringLiteral("system"), std::move(system)}, {QStringLiteral("user"), std::move(user)}};
    request.temperature = temperature;
    if (config_.provider != QLatin1String("openai")) { // the public service refuses what it does not know
        request.think = false;
        request.chatTemplateKwargs.emplace();
    }
    return request.json();
}

QString LLMClient::withoutKey(QString text) const {
    if (config_.apiKey && config_.apiKey->size() >= shortestSecret)
        text.replace(*config_.apiKey, QString(config_.apiKey->size(), u'*'));
    return text;
}

QString firstCharacters(const QString& text, qsizetype count) {
    qsizetype end = 0;
    for (; count > 0 && end < text.size(); --count)
        end += text[end].isHighSurrogate() && end + 1 < text.size() && text[end + 1].isLowSurrogate() ? 2 : 1;
    return text.left(end);
}

} // namespace Varnel
