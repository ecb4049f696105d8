#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/ModelVerification.h"
#include "Varnel/CommandLine/ModelsCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace Varnel::CommandLine {

namespace {

struct VerifyOptions {
    std::string set; // empty: the one in use
    bool json = false;
};

ModelSet setNamed(CommandContext& context, const std::string& name) {
    if (name.empty())
        return context.modelsInUse().set;
    const ModelSets sets = context.modelSets();
    if (name == "hub")
        return sets.hub();
    if (name == "starter") {
        if (const auto set = sets.starter())
            return *set;
        throw CommandError("the program was installed without starter models");
    }
    return sets.inUse(name).set;
}

int verify(CommandContext& context, const VerifyOptions& options) {
    const ModelSet set = setNamed(context, options.set);
    std::vector<ModelVerdict> verdicts;
    for (const ModelPart& part : modelParts) {
        context.progress().begin(fmt::format("Verifying the models for {}", part.purpose));
        const auto more = verifyModels(set, part.repo);
        verdicts.insert(verdicts.end(), more.begin(), more.end());
    }
    context.progress().clear();

    const bool allGood =
        std::all_of(verdicts.begin(), verdicts.end(), [](const ModelVerdict& verdict) { return verdict.isGood(); });
    if (options.json) {
        auto array = nlohmann::ordered_json::array();
        for (const ModelVerdict& verdict : verdicts) {
            nlohmann::ordered_json entry{{"name", verdict.name}, {"ok", verdict.isGood()}, {"bytes", verdict.bytes}};
            if (!verdict.isGood())
                entry["problem"] = verdict.problem;
            array.push_back(std::move(entry));
        }
        context.output().json({{"set", Varnel::name(set).toStdString()},
                               {"root", set.root.string()},
                               {"ok", allGood},
                               {"models", std::move(array)}});
    } else {
        for (const ModelVerdict& verdict : verdicts)
            context.output().write(fmt::format("{:<7}  {:<30}  {:>9}  {}\n", verdict.isGood() ? "ok" : "damaged",
                                               verdict.name, verdict.bytes > 0 ? byteText(verdict.bytes) : "",
                                               singleLine(verdict.problem)));
    }
    if (allGood)
        return success;
    context.output().flush();
    context.reportFailure(fmt::format("the models in {} are not whole", inQuotes(set.root.string())));
    return failure;
}

} // namespace

void addModelsVerifyCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<VerifyOptions>();
    CLI::App& command = addCommand(group, registry, "verify",
                                   "Whether the models are whole: sizes, SHA-256 sums, and that each loads and fits",
                                   "  varnel models verify\n"
                                   "  varnel models verify hub");
    command.add_option("SET", options->set, "hub, starter, or a folder; default: the set in use");
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return verify(context, *options); };
    });
}

} // namespace Varnel::CommandLine
