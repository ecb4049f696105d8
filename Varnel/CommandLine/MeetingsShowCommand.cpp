#include "Varnel/CommandLine/AssistantText.h"
#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingJson.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"
#include "Varnel/CommandLine/TranscriptLines.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/TranscriptSegment.h"
#include "Varnel/Refinement/Export.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct ShowOptions {
    std::string meeting;
    bool json = false;
};

std::string shown(const QString& text) {
    return singleLine(text.toStdString());
}

std::string header(const Meeting& meeting, TerminalColors colors) {
    std::string text = fmt::format("{}\n{}  {}", shown(meeting.title()), dateText(meeting.startedAt()),
                                   shown(Export::durationText(meeting.duration())));
    if (meeting.sourceApp())
        text += fmt::format("  {}", shown(*meeting.sourceApp()));
    text += fmt::format("\n\nId:       {}\n", shown(Varnel::text(meeting.id())));
    if (meeting.calendarEventTitle())
        text += fmt::format("Event:    {}\n", shown(*meeting.calendarEventTitle()));
    text += fmt::format("Speakers: {}\n", speakerNames(meeting, colors));
    if (meeting.audioFilePath())
        text += fmt::format("Audio:    {}\n", shown(*meeting.audioFilePath()));
    if (meeting.systemAudioFilePath())
        text += fmt::format("System:   {}\n", shown(*meeting.systemAudioFilePath()));
    return text;
}

int show(CommandContext& context, const ShowOptions& options) {
    const auto meeting = meetingNamed(options.meeting, context.store().mainContext());
    if (options.json) {
        context.output().json(wholeMeetingJson(*meeting));
        return success;
    }
    context.output().write(header(*meeting, context.colors()));
    context.output().write(assistantText(*meeting));
    context.output().write("\nTranscript\n");
    for (const auto& segment : segmentsInOrder(*meeting))
        context.output().write(transcriptLine(*segment, context.colors()) + "\n");
    return success;
}

} // namespace

void addMeetingsShowCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App& command = addCommand(group, registry, "show", "One meeting: what is known of it and its transcript",
                                   "  varnel meetings show latest\n"
                                   "  varnel meetings show 1F2E --json");
    command.add_option("MEETING", options->meeting, "Id, a unique beginning of it, or 'latest'")->required();
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return show(context, *options); };
    });
}

} // namespace Varnel::CommandLine
