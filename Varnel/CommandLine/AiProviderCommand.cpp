#include "Varnel/CommandLine/AiCommand.h"
#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Refinement/AIProvider.h"
#include "Varnel/Refinement/LLMConfig.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>

namespace Varnel::CommandLine {

namespace {

struct ProviderOptions {
    std::string provider;
    std::optional<std::string> url;
    std::optional<std::string> model;
    bool json = false;
};

const AIProvider& providerNamed(const std::string& id) {
    if (const AIProvider* provider = AIProviders::find(QString::fromStdString(id)))
        return *provider;
    throw CommandError::usage(
        fmt::format("there is no provider {}; there are ollama, openai and custom", inQuotes(id)));
}

QString textOf(const std::string& bytes, const char* option) {
    QString text = QString::fromStdString(bytes);
    if (text.toStdString() != bytes || text.contains(QChar(0)))
        throw CommandError::usage(fmt::format("the value of '{}' is no text", option));
    return text;
}

// Everything is checked before the first setting changes.
void choose(Settings settings, const ProviderOptions& options) {
    const AIProvider& provider = providerNamed(options.provider);
    std::optional<QString> url;
    std::optional<QString> model;
    if (options.url) {
        if (provider.baseURL == AIProvider::BaseURL::fixed)
            throw CommandError::usage(fmt::format("the address of '{}' is always {}; --url goes with 'custom'",
                                                  provider.id, provider.defaultBaseURL));
        url = textOf(*options.url, "--url");
        if (!absoluteURL(*url))
            throw CommandError::usage(
                fmt::format("{} is no URL such as http://localhost:8080/v1", inQuotes(*options.url)));
    }
    if (options.model)
        model = textOf(*options.model, "--model");
    AIProviders::choose(provider, settings);
    if (url)
        settings.set(SettingKeys::aiBaseURL, *url);
    if (model)
        settings.set(SettingKeys::aiModel, *model);
}

int provider(CommandContext& context, const ProviderOptions& options) {
    if (!options.provider.empty())
        choose(context.settings(), options);
    else if (options.url || options.model)
        throw CommandError::usage("--url and --model go with a provider");
    const Settings settings = context.settings();
    const auto shown = [&settings](const SettingKey& key) { return settings.text(key).toStdString(); };
    if (options.json)
        context.output().json({{"aiProvider", shown(SettingKeys::aiProvider)},
                               {"aiBaseURL", shown(SettingKeys::aiBaseURL)},
                               {"aiModel", shown(SettingKeys::aiModel)}});
    else
        context.output().write(
            fmt::format("Provider: {}\nURL:      {}\nModel:    {}\n", singleLine(shown(SettingKeys::aiProvider)),
                        singleLine(shown(SettingKeys::aiBaseURL)), singleLine(shown(SettingKeys::aiModel))));
    return success;
}

} // namespace

void addAiProviderCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<ProviderOptions>();
    CLI::App& command = addCommand(
        group, registry, "provider", "Choose the language model's server, or show which one is chosen",
        "  varnel ai provider\n"
        "  varnel ai provider ollama --model qwen3.5:2b\n"
        "  varnel ai provider custom --url http://localhost:8080/v1 --model my-model\n"
        "  varnel ai provider openai\n"
        "  varnel settings set aiAPIKey - < key.txt\n\n"
        "ollama is a model server on this machine, openai the public service: with it, transcripts leave this\n"
        "machine. custom is any other server of the same kind. The model stays unless it belongs to another\n"
        "provider.");
    command.add_option("PROVIDER", options->provider, "ollama, openai or custom");
    command.add_option("--url", options->url, "The server's address, for custom")->type_name("URL");
    command.add_option("--model", options->model, "The model's name")->type_name("NAME");
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return provider(context, *options); };
    });
}

} // namespace Varnel::CommandLine
