#include "Varnel/Refinement/AIProvider.h"

#include <array>

namespace Varnel::AIProviders {

namespace {

using BaseURL = AIProvider::BaseURL;

bool isNamedLikeThePublicModels(const QString& model) {
    return model.startsWith(QLatin1String("gpt-"));
}

bool fits(const QString& model, const AIProvider& provider) {
    return !model.isEmpty() && isNamedLikeThePublicModels(model) == (&provider == &openai);
}

} // namespace

const AIProvider ollama{"ollama",     "Ollama (local)",     "http://localhost:11434/v1",
                        "qwen3.5:2b", "API key (optional)", BaseURL::fixed};
const AIProvider openai{"openai", "OpenAI", "https://api.openai.com/v1", "gpt-4o-mini", "API key", BaseURL::fixed};
const AIProvider custom{"custom", "Custom", "", "", "API key (optional)", BaseURL::entered};

std::span<const AIProvider* const> all() {
    static constexpr std::array providers{&ollama, &openai, &custom};
    return providers;
}

const AIProvider* find(const QString& id) {
    for (const AIProvider* provider : all()) {
        if (id == QLatin1String(provider->id))
            return provider;
    }
    return nullptr;
}

void choose(const AIProvider& provider, Settings& settings) {
    settings.set(SettingKeys::aiProvider, QString::fromLatin1(provider.id));
    if (provider.baseURL == BaseURL::entered)
        return;
    settings.set(SettingKeys::aiBaseURL, QString::fromLatin1(provider.defaultBaseURL));
    if (!fits(settings.text(SettingKeys::aiModel), provider))
        settings.set(SettingKeys::aiModel, QString::fromLatin1(provider.defaultModel));
}

} // namespace Varnel::AIProviders
