#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/ModelsCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <vector>

namespace Varnel::CommandLine {

namespace {

// Every set there is a reason to show, each once: the hub's, the starter's, a chosen folder, and the one in use.
std::vector<ModelSet> knownSets(const ModelSets& sets, const std::optional<ModelSets::InUse>& inUse) {
    std::vector<ModelSet> known{sets.hub()};
    const auto add = [&](const std::optional<ModelSet>& set) {
        if (set && std::find(known.begin(), known.end(), *set) == known.end())
            known.push_back(*set);
    };
    add(sets.starter());
    try {
        add(sets.chosen());
    } catch (const ModelSetError&) { // a choice that no longer holds; what is used says so
    }
    if (inUse)
        add(inUse->set);
    return known;
}

const char* name(ModelSetItem::State state) {
    switch (state) {
    case ModelSetItem::State::complete:
        return "complete";
    case ModelSetItem::State::incomplete:
        return "incomplete";
    case ModelSetItem::State::missing:
        return "missing";
    }
    return "unknown";
}

// Of all parts of a set together.
struct Contents {
    ModelSetItem::State state = ModelSetItem::State::complete;
    std::uint64_t bytes = 0;
    nlohmann::ordered_json models = nlohmann::ordered_json::array();
};

Contents contents(const ModelSet& set) {
    Contents sum;
    bool anyThere = false;
    for (const ModelPart& part : modelParts)
        for (const ModelSetItem& item : items(set, part.repo)) {
            anyThere = anyThere || item.state != ModelSetItem::State::missing;
            if (item.state != ModelSetItem::State::complete)
                sum.state = ModelSetItem::State::incomplete;
            sum.bytes += item.bytes;
            sum.models.push_back(
                {{"set", part.name}, {"name", item.name}, {"state", name(item.state)}, {"bytes", item.bytes}});
        }
    if (!anyThere)
        sum.state = ModelSetItem::State::missing;
    return sum;
}

std::string reasonText(ModelSets::Reason reason) {
    switch (reason) {
    case ModelSets::Reason::named:
        return "named with --models";
    case ModelSets::Reason::chosen:
        return "chosen with 'models use'";
    case ModelSets::Reason::complete:
        return "the hub's set is complete";
    case ModelSets::Reason::fallback:
        return "small networks to start with; 'varnel models fetch' gets the full ones";
    }
    return {};
}

int list(CommandContext& context, bool json) {
    const ModelSets sets = context.modelSets();
    std::optional<ModelSets::InUse> inUse;
    std::string problem;
    try {
        inUse = context.modelsInUse();
    } catch (const ModelSetError& error) {
        problem = error.what();
    }
    auto array = nlohmann::ordered_json::array();
    if (!json)
        context.output().write(fmt::format("{:<2}{:<8}  {:<10}  {:>9}  {}\n", "", "SET", "STATE", "SIZE", "FOLDER"));
    for (const ModelSet& set : knownSets(sets, inUse)) {
        const Contents has = contents(set);
        const bool used = inUse && inUse->set == set;
        if (json) {
            array.push_back({{"set", Varnel::name(set).toStdString()},
                             {"root", set.root.string()},
                             {"state", name(has.state)},
                             {"bytes", has.bytes},
                             {"inUse", used},
                             {"models", has.models}});
            continue;
        }
        const std::string setName = set.kind == ModelSet::Kind::folder ? "folder" : Varnel::name(set).toStdString();
        context.output().write(fmt::format("{:<2}{:<8}  {:<10}  {:>9}  {}\n", used ? "*" : "", setName, name(has.state),
                                           byteText(has.bytes), singleLine(set.root.string())));
    }
    if (json)
        context.output().json(array);
    else if (inUse)
        context.output().write(fmt::format("\n* in use: {}\n", reasonText(inUse->reason)));
    if (!problem.empty())
        context.note(problem);
    return success;
}

int path(CommandContext& context) {
    context.output().write(context.modelsInUse().set.root.string() + "\n");
    return success;
}

int use(CommandContext& context, const std::string& choice) {
    const ModelSet set = context.modelSets().choose(choice);
    const bool complete = std::all_of(modelParts.begin(), modelParts.end(),
                                      [&](const ModelPart& part) { return isComplete(set, part.repo); });
    context.note(
        fmt::format("The models of {} are used from the next start.", inQuotes(Varnel::name(set).toStdString())));
    if (!complete)
        context.note(set.kind == ModelSet::Kind::hub
                         ? "They are not complete yet: 'varnel models fetch' fetches them."
                         : "They are not complete: 'varnel models verify' says what is missing.");
    return success;
}

} // namespace

void addModelsListCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto json = std::make_shared<bool>(false);
    CLI::App& command = addCommand(group, registry, "list", "The model sets, their state, and which is used",
                                   "  varnel models list --json");
    command.add_flag("--json", *json, "Print JSON");
    command.callback([&action = registry.action, json] {
        action = [json](CommandContext& context) { return list(context, *json); };
    });
}

void addModelsPathCommand(CLI::App& group, const CommandRegistry& registry) {
    CLI::App& command =
        addCommand(group, registry, "path", "The folder of the models that are used", "  varnel models path");
    command.callback([&action = registry.action] { action = &path; });
}

void addModelsUseCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto choice = std::make_shared<std::string>();
    CLI::App& command = addCommand(group, registry, "use", "Choose the model set",
                                   "  varnel models use hub\n"
                                   "  varnel models use ~/my-models");
    command.add_option("SET", *choice, "hub, starter, or a folder")->required();
    command.callback([&action = registry.action, choice] {
        action = [choice](CommandContext& context) { return use(context, *choice); };
    });
}

} // namespace Varnel::CommandLine
