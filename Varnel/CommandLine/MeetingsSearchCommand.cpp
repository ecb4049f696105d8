#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingJson.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"
#include "Varnel/CommandLine/TranscriptLines.h"
#include "Varnel/Models/MeetingSearch.h"
#include "Varnel/Refinement/Export.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct SearchOptions {
    std::string query;
    std::size_t limit = 0; // 0: all
    bool json = false;
};

// Blanks and tabs at both ends do not count, and neither does case.
QString prepared(const std::string& query) {
    QString text = QString::fromStdString(query);
    const auto isBlank = [](QChar character) { return character == u' ' || character == u'\t'; };
    while (!text.isEmpty() && isBlank(text.front()))
        text.remove(0, 1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text.toLower();
}

int search(CommandContext& context, const SearchOptions& options) {
    ModelContext& model = context.store().mainContext();
    const MeetingSearch index(context.directories().store());
    const QString query = prepared(options.query);
    std::vector<QUuid> found = index.matches(QString::fromStdString(options.query));
    const std::size_t all = found.size();
    if (options.limit > 0 && found.size() > options.limit)
        found.resize(options.limit);

    auto array = nlohmann::ordered_json::array();
    for (const QUuid& id : found) {
        const auto meeting = model.meeting(id);
        if (!meeting)
            continue; // deleted by another process in between
        if (options.json) {
            array.push_back(meetingJson(*meeting));
            continue;
        }
        context.output().write(fmt::format(
            "{}  {}  {:>8}  {}\n", shortId(id).toStdString(), dateText(meeting->startedAt()),
            Export::durationText(meeting->duration()).toStdString(), singleLine(meeting->title().toStdString())));
        if (!query.isEmpty())
            context.output().write(fmt::format("          {}\n", searchHint(*meeting, query)));
    }
    if (options.json)
        context.output().json(array);
    else if (all == 0)
        context.note("No matches");
    if (found.size() < all)
        context.note(fmt::format("{} more meetings match", all - found.size()));
    return success;
}

} // namespace

void addMeetingsSearchCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<SearchOptions>();
    CLI::App& command =
        addCommand(group, registry, "search", "Meetings whose title, application, speakers or lines hold a text",
                   "  varnel meetings search budget\n"
                   "  varnel meetings search \"next quarter\" --limit 5\n\n"
                   "Case does not count; any part of a word is found.");
    command.add_option("QUERY", options->query, "The text to look for")->required();
    command.add_option("-n,--limit", options->limit, "Show at most that many")
        ->check(CLI::NonNegativeNumber)
        ->type_name("N");
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return search(context, *options); };
    });
}

} // namespace Varnel::CommandLine
