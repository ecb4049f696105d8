#pragma once

#include "Varnel/Refinement/LLMClient.h"

#include <QByteArray>
#include <QList>

#include <optional>

namespace Varnel {

// The body of a chat completion's request.
struct ChatRequest {
    struct TemplateArguments {
        bool enableThinking = false;
    };

    QString model;
    QList<LLMClient::Message> messages;
    double temperature = 0;
    bool stream = false;
    // How a local model is told not to think aloud: which of the two is heard depends on the server.
    std::optional<bool> think;
    std::optional<TemplateArguments> chatTemplateKwargs;

    // Compact, keys in the order of the fields, absent ones left out.
    QByteArray json() const;
};

} // namespace Varnel
