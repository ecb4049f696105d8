#pragma once

#include "Varnel/Models/Settings.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace Varnel {

// Where the assistant's questions go.
struct LLMConfig {
    QUrl baseURL; // the root below which the endpoints lie
    QString model;
    std::optional<QString> apiKey; // sent as a bearer token
    QString provider;              // "ollama", "openai" or "custom"

    // From the settings, as they are now. None if the base URL is no URL.
    static std::optional<LLMConfig> fromDefaults(const Settings& settings);

    // The base URL with a path such as "chat/completions" appended, whether it ends with a slash or not.
    QUrl endpoint(const char* path) const;
};

// A URL with a scheme and a host. None when it lacks either, or has characters that a URL cannot have.
std::optional<QUrl> absoluteURL(const QString& text);

} // namespace Varnel
