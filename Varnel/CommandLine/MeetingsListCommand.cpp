#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingJson.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"
#include "Varnel/CommandLine/TranscriptLines.h"
#include "Varnel/Refinement/Export.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace Varnel::CommandLine {

namespace {

struct ListOptions {
    std::size_t limit = 0; // 0: all
    bool json = false;
};

void print(CommandContext& context, const std::vector<std::shared_ptr<Meeting>>& meetings) {
    constexpr std::size_t widestTitle = 40;
    std::size_t width = 5;
    for (const auto& meeting : meetings)
        width = std::max(width, std::min(widestTitle, static_cast<std::size_t>(meeting->title().size())));
    context.output().write(
        fmt::format("{:<8}  {:<16}  {:>8}  {:<{}}  {}\n", "ID", "STARTED", "DURATION", "TITLE", width, "SPEAKERS"));
    for (const auto& meeting : meetings)
        context.output().write(
            fmt::format("{:<8}  {:<16}  {:>8}  {:<{}}  {}\n", shortId(meeting->id()).toStdString(),
                        dateText(meeting->startedAt()), Export::durationText(meeting->duration()).toStdString(),
                        singleLine(meeting->title().toStdString()), width, speakerNames(*meeting, context.colors())));
}

int list(CommandContext& context, const ListOptions& options) {
    auto meetings = meetingsNewestFirst(context.store().mainContext());
    if (options.limit > 0 && meetings.size() > options.limit)
        meetings.resize(options.limit);
    if (options.json) {
        auto array = nlohmann::ordered_json::array();
        for (const auto& meeting : meetings)
            array.push_back(meetingJson(*meeting));
        context.output().json(array);
        return success;
    }
    if (meetings.empty()) {
        context.note("No meetings yet");
        return success;
    }
    print(context, meetings);
    return success;
}

} // namespace

void addMeetingsListCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App& command = addCommand(group, registry, "list", "The stored meetings, newest first",
                                   "  varnel meetings list --limit 10\n"
                                   "  varnel meetings list --json");
    command.add_option("-n,--limit", options->limit, "Show at most that many")
        ->check(CLI::NonNegativeNumber)
        ->type_name("N");
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return list(context, *options); };
    });
}

} // namespace Varnel::CommandLine
