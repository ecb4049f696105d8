#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/DoctorChecks.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/StoreRescue.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace Varnel::CommandLine {

namespace {

struct DoctorOptions {
    bool repair = false;
    bool json = false;
};

const char* name(Finding::Kind kind) {
    switch (kind) {
    case Finding::Kind::ok:
        return "ok";
    case Finding::Kind::note:
        return "note";
    case Finding::Kind::problem:
        return "problem";
    }
    return "unknown";
}

std::vector<Finding> examine(CommandContext& context) {
    std::vector<Finding> findings;
    for (const auto check : {&checkData, &checkStore, &checkSettings, &checkModels, &checkMachine}) {
        auto more = check(context);
        findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    }
    return findings;
}

void print(CommandContext& context, const std::vector<Finding>& findings, bool json) {
    if (json) {
        auto array = nlohmann::ordered_json::array();
        for (const Finding& finding : findings) {
            nlohmann::ordered_json entry{
                {"state", name(finding.kind)}, {"subject", finding.subject}, {"text", finding.text}};
            if (!finding.remedy.empty())
                entry["remedy"] = finding.remedy;
            array.push_back(std::move(entry));
        }
        context.output().json(array);
        return;
    }
    for (const Finding& finding : findings) {
        context.output().write(
            fmt::format("{:<7}  {:<17}  {}\n", name(finding.kind), finding.subject, singleLine(finding.text)));
        if (!finding.remedy.empty())
            context.output().write(fmt::format("{:<7}  {:<17}  -> {}\n", "", "", singleLine(finding.remedy)));
    }
}

int doctor(CommandContext& context, const DoctorOptions& options) {
    if (options.repair)
        rescueStore(context);
    context.progress().begin("Looking at everything");
    const std::vector<Finding> findings = examine(context);
    context.progress().clear();
    print(context, findings, options.json);
    const auto problems = std::count_if(findings.begin(), findings.end(),
                                        [](const Finding& finding) { return finding.kind == Finding::Kind::problem; });
    if (problems == 0)
        return success;
    context.output().flush();
    context.reportFailure(problems == 1 ? "there is a problem" : fmt::format("there are {} problems", problems));
    return failure;
}

} // namespace

void addDoctorCommand(const CommandRegistry& registry) {
    const auto options = std::make_shared<DoctorOptions>();
    CLI::App& command = addCommand(
        registry.app, registry, "doctor", "What on this machine keeps something from working, and how to mend it",
        "  varnel doctor\n"
        "  varnel doctor --repair\n\n"
        "With --repair a damaged store is set aside, never deleted, and what can be read of it goes into a new one;\n"
        "a search index that is at fault is built anew.");
    command.add_flag("--repair", options->repair, "Mend the store first");
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return doctor(context, *options); };
    });
}

} // namespace Varnel::CommandLine
