#include "Varnel/Refinement/ChatRequest.h"

#include <nlohmann/json.hpp>

namespace Varnel {

QByteArray ChatRequest::json() const {
    nlohmann::ordered_json body;
    body["model"] = model.toStdString();
    body["messages"] = nlohmann::ordered_json::array();
    for (const LLMClient::Message& message : messages) {
        nlohmann::ordered_json object;
        object["role"] = message.role.toStdString();
        object["content"] = message.content.toStdString();
        body["messages"].push_back(std::move(object));
    }
    body["temperature"] = temperature;
    body["stream"] = stream;
    if (think)
        body["think"] = *think;
    if (chatTemplateKwargs)
        body["chat_template_kwargs"]["enable_thinking"] = chatTemplateKwargs->enableThinking;
    return QByteArray::fromStdString(body.dump());
}

} // namespace Varnel
