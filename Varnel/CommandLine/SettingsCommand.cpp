#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/NearMatches.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace Varnel::CommandLine {

namespace {

constexpr std::size_t largestValue = 1U << 20U; // bytes
constexpr const char* mask = "********";

struct SettingsOptions {
    std::string key;
    std::string value;
    bool json = false;
};

const SettingKey& keyNamed(const std::string& name) {
    if (const SettingKey* key = SettingKeys::find(QString::fromStdString(name)))
        return *key;
    QStringList names;
    for (const SettingKey* key : SettingKeys::all())
        names << QString::fromLatin1(key->name);
    const QStringList near = nearMatches(QString::fromStdString(name), names);
    throw CommandError::usage(near.isEmpty()
                                  ? fmt::format("there is no setting {} (see 'varnel settings list')", inQuotes(name))
                                  : fmt::format("there is no setting {}; did you mean {}?", inQuotes(name),
                                                near.join(QStringLiteral(" or ")).toStdString()));
}

nlohmann::ordered_json jsonValue(const Settings& settings, const SettingKey& key) {
    if (key.type == SettingKey::Type::boolean)
        return settings.boolean(key);
    return settings.text(key).toStdString();
}

QString shownValue(const Settings& settings, const SettingKey& key) {
    if (key.type == SettingKey::Type::boolean)
        return settings.boolean(key) ? QStringLiteral("true") : QStringLiteral("false");
    return settings.text(key);
}

// A list shows whether a secret is set, and no more.
bool isMasked(const Settings& settings, const SettingKey& key) {
    return key.kind == SettingKey::Kind::secret && !settings.text(key).isEmpty();
}

int list(CommandContext& context, const SettingsOptions& options) {
    const Settings settings = context.settings();
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    std::size_t width = 0;
    for (const SettingKey* key : SettingKeys::all())
        width = std::max(width, std::string_view(key->name).size());
    for (const SettingKey* key : SettingKeys::all()) {
        const bool masked = isMasked(settings, *key);
        if (options.json)
            object[key->name] = masked ? nlohmann::ordered_json(mask) : jsonValue(settings, *key);
        else
            context.output().write(fmt::format("{:<{}}  {}\n", key->name, width,
                                               masked ? mask : singleLine(shownValue(settings, *key).toStdString())));
    }
    if (options.json)
        context.output().json(object);
    return success;
}

int get(CommandContext& context, const SettingsOptions& options) {
    const SettingKey& key = keyNamed(options.key);
    const Settings settings = context.settings();
    if (options.json)
        context.output().json({{key.name, jsonValue(settings, key)}});
    else
        context.output().line(shownValue(settings, key));
    return success;
}

std::string valueOrInput(CommandContext& context, const std::string& value) {
    if (value != "-")
        return value;
    std::string input = readAll(context.input(), largestValue);
    if (input.ends_with("\r\n"))
        input.resize(input.size() - 2);
    else if (input.ends_with('\n'))
        input.pop_back();
    return input;
}

int set(CommandContext& context, const SettingsOptions& options) {
    const SettingKey& key = keyNamed(options.key);
    const std::string bytes = valueOrInput(context, options.value);
    const QString value = QString::fromStdString(bytes);
    if (value.toStdString() != bytes || value.contains(QChar(0)))
        throw CommandError::usage(fmt::format("the value of '{}' is no text", key.name));
    Settings settings = context.settings();
    if (key.type == SettingKey::Type::boolean) {
        if (value != QLatin1String("true") && value != QLatin1String("false"))
            throw CommandError::usage(fmt::format("'{}' is true or false, not {}", key.name, inQuotes(bytes)));
        settings.set(key, value == QLatin1String("true"));
    } else {
        settings.set(key, value);
    }
    return success;
}

using Operation = int (*)(CommandContext&, const SettingsOptions&);

void onceParsed(CLI::App& command, const CommandRegistry& registry, std::shared_ptr<SettingsOptions> options,
                Operation operation) {
    command.callback([&action = registry.action, options, operation] {
        action = [options, operation](CommandContext& context) { return operation(context, *options); };
    });
}

} // namespace

void addSettingsCommand(const CommandRegistry& registry) {
    CLI::App& group = addCommand(registry.app, registry, "settings", "Show and change the settings",
                                 "  varnel settings list\n  varnel settings set aiEnabled true");
    group.require_subcommand(1);
    const auto options = std::make_shared<SettingsOptions>();

    CLI::App& listCommand = addCommand(group, registry, "list", "All settings; keys and passwords are masked",
                                       "  varnel settings list --json");
    listCommand.add_flag("--json", options->json, "Print JSON");
    onceParsed(listCommand, registry, options, &list);

    CLI::App& getCommand =
        addCommand(group, registry, "get", "The value of one setting, as it is", "  varnel settings get appearance");
    getCommand.add_option("KEY", options->key, "Name of the setting")->required();
    getCommand.add_flag("--json", options->json, "Print JSON");
    onceParsed(getCommand, registry, options, &get);

    CLI::App& setCommand = addCommand(group, registry, "set", "Change one setting",
                                      "  varnel settings set appearance dark\n"
                                      "  varnel settings set aiAPIKey - < key.txt");
    setCommand.add_option("KEY", options->key, "Name of the setting")->required();
    setCommand
        .add_option("VALUE", options->value,
                    "The value; - reads it from standard input, so that it shows in no list of processes")
        ->required();
    onceParsed(setCommand, registry, options, &set);
}

} // namespace Varnel::CommandLine
