#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/SpeakersCommand.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/KnownSpeakers.h"
#include "Varnel/Refinement/Export.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace Varnel::CommandLine {

namespace {

using Json = nlohmann::ordered_json;

struct ListOptions {
    std::string meeting; // empty: all meetings
    bool json = false;
};

// A row of the list: one speaker of a meeting, or all of one name.
struct Row {
    KnownSpeaker speaker;
    QString id; // of the one speaker
};

std::vector<Row> rowsOf(const std::vector<KnownSpeaker>& speakers) {
    std::vector<Row> rows;
    for (const KnownSpeaker& speaker : speakers)
        rows.push_back({speaker, {}});
    return rows;
}

std::vector<Row> rowsOf(const Meeting& meeting) {
    std::vector<Row> rows;
    for (const auto& speaker : meeting.speakers()) {
        const auto& voice = speaker->embedding();
        Row row{{speaker->name(), speaker->colorHex(), speaker->isYou(), voice && !voice->empty(), 1, 0},
                text(speaker->id())};
        for (const auto& segment : speaker->segments())
            if (segment->endTime() > segment->startTime())
                row.speaker.secondsSpoken += segment->endTime() - segment->startTime();
        rows.push_back(std::move(row));
    }
    return rows;
}

Json json(const std::vector<Row>& rows) {
    Json array = Json::array();
    for (const auto& [speaker, id] : rows) {
        Json object;
        if (!id.isEmpty())
            object["id"] = id.toStdString();
        object["name"] = speaker.name.toStdString();
        object["colorHex"] = speaker.colorHex.toStdString();
        object["isYou"] = speaker.isYou;
        object["hasVoice"] = speaker.hasVoice;
        if (id.isEmpty())
            object["meetings"] = speaker.meetings;
        object["secondsSpoken"] = speaker.secondsSpoken;
        array.push_back(std::move(object));
    }
    return array;
}

void print(CommandContext& context, const std::vector<Row>& rows) {
    constexpr std::size_t widestName = 32;
    const bool inOneMeeting = !rows.front().id.isEmpty();
    const bool withDots = context.colors() != TerminalColors::none;
    std::size_t width = 4;
    for (const Row& row : rows)
        width = std::max(width, std::min(widestName, static_cast<std::size_t>(row.speaker.name.size())));
    context.output().write(fmt::format("{}{:<{}}  {:<7}  {:<8}  {:>8}  {:<5}  {}\n", withDots ? "  " : "", "NAME",
                                       width, "COLOR", inOneMeeting ? "ID" : "MEETINGS", "SPOKEN", "VOICE", "YOU"));
    for (const auto& [speaker, id] : rows) {
        const std::string dot = withDots ? colored("● ", speaker.colorHex, context.colors()) : std::string();
        const std::string place = inOneMeeting ? id.left(8).toStdString() : fmt::format("{:>8}", speaker.meetings);
        context.output().write(fmt::format("{}{:<{}}  {:<7}  {:<8}  {:>8}  {:<5}  {}\n", dot,
                                           singleLine(speaker.name.toStdString()), width,
                                           singleLine(speaker.colorHex.toStdString()), place,
                                           Export::durationText(speaker.secondsSpoken).toStdString(),
                                           speaker.hasVoice ? "kept" : "-", speaker.isYou ? "you" : "-"));
    }
}

int list(CommandContext& context, const ListOptions& options) {
    ModelContext& model = context.store().mainContext();
    const std::vector<Row> rows = options.meeting.empty() ? rowsOf(knownSpeakers(context.directories().store()))
                                                          : rowsOf(*meetingNamed(options.meeting, model));
    if (options.json)
        context.output().json(json(rows));
    else if (rows.empty())
        context.note("No speakers yet");
    else
        print(context, rows);
    return success;
}

} // namespace

void addSpeakersListCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App& command =
        addCommand(group, registry, "list", "Everybody in the store, or in one meeting",
                   "  varnel speakers list\n"
                   "  varnel speakers list --meeting latest --json\n\n"
                   "Shown are the color, in how many meetings and how long each spoke, whether a voice\n"
                   "is kept to recognise the speaker by, and which one is you.");
    addMeetingOption(command, options->meeting, MeetingOption::optional);
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return list(context, *options); };
    });
}

} // namespace Varnel::CommandLine
