#pragma once

#include "Varnel/Platform/HttpClient.h"
#include "Varnel/Refinement/LLMConfig.h"

#include <QCoroTask>
#include <QString>

#include <stop_token>

namespace Varnel {

// Asks an OpenAI-compatible endpoint. A plain value: make one for each use; any number of questions may be out at once.
// Nothing is tried again. The HTTP client outlives it. Main context only.
class LLMClient {
public:
    struct Message {
        QString role;
        QString content;
    };

    LLMClient(LLMConfig config, HttpClient& http);

    const LLMConfig& config() const { return config_; }

    // One chat completion: the assistant's text without its reasoning. `timeout`: seconds for the whole of it. Throws
    // LLMClientError and HttpClientError. The endpoint may be another program than the user meant: where it sends the
    // key back, the error's text has asterisks.
    QCoro::Task<QString> chat(QString system, QString user, double temperature, double timeout,
                              std::stop_token stop = {}) const;

    // Whether the endpoint answers with a status of 200 to 299 within 10 seconds. Throws HttpClientError.
    QCoro::Task<bool> ping(std::stop_token stop = {}) const;

    // A text that may hold what the endpoint sent, fit for the log: an asterisk for each character of the key.
    QString withoutKey(QString text) const;

private:
    static QCoro::Task<QString> chat(LLMClient client, QString system, QString user, double temperature, double timeout,
                                     std::stop_token stop);
    static QCoro::Task<bool> ping(LLMClient client, std::stop_token stop);

    HttpRequest request(QByteArray method, const char* path, double timeout, std::stop_token stop) const;
    QByteArray body(QString system, QString user, double temperature) const;

    LLMConfig config_;
    HttpClient* http_;
};

// The first `count` characters of a text.
QString firstCharacters(const QString& text, qsizetype count);

} // namespace Varnel
