#pragma once

#include "Varnel/Models/Settings.h"

#include <QString>

#include <optional>
#include <span>

namespace Varnel {

// A kind of server that the assistant can be pointed at.
struct AIProvider {
    enum class BaseURL { fixed, entered }; // whether the user may edit the address

    const char* id;             // "ollama", "openai", "custom": the value of the setting `aiProvider`
    const char* label;          // for lists to choose from
    const char* defaultBaseURL; // empty: whatever the user enters
    const char* defaultModel;   // the same
    const char* apiKeyLabel;
    BaseURL baseURL;
};

namespace AIProviders {

extern const AIProvider ollama; // a model server on this machine: the default
extern const AIProvider openai; // the public service
extern const AIProvider custom; // any other compatible server

// In the order of the picker.
std::span<const AIProvider* const> all();
// None for an unknown id.
const AIProvider* find(const QString& id);

// Makes it the provider. The address becomes its own, and so does the model, unless the one that is set fits it; the
// custom provider changes neither.
void choose(const AIProvider& provider, Settings& settings);

} // namespace AIProviders

} // namespace Varnel
