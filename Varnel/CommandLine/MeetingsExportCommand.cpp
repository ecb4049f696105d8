#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"
#include "Varnel/CommandLine/TranscriptFormat.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <set>

namespace Varnel::CommandLine {

namespace {

struct ExportOptions {
    std::vector<std::string> meetings;
    TranscriptDestination destination;
};

// What an export must never replace.
std::vector<std::filesystem::path> keptFiles(const Meeting& meeting, const ApplicationDirectories& directories) {
    std::vector<std::filesystem::path> kept{directories.store()};
    for (const auto& path : {meeting.audioFilePath(), meeting.systemAudioFilePath()})
        if (path)
            kept.emplace_back(path->toStdString());
    return kept;
}

int exportMeetings(CommandContext& context, const ExportOptions& options) {
    const TranscriptDestination& destination = options.destination;
    if (destination.isStandardOutput() && options.meetings.size() > 1)
        throw CommandError::usage("several meetings are exported to a folder: --output DIR is missing");
    ModelContext& model = context.store().mainContext();
    std::vector<std::shared_ptr<Meeting>> meetings;
    for (const std::string& reference : options.meetings)
        meetings.push_back(meetingNamed(reference, model));

    const Export::Format format = destination.formatOr(Export::Format::markdown);
    if (destination.isStandardOutput()) {
        context.output().bytes(Export::bytes(*meetings.front(), format));
        return success;
    }
    std::set<std::filesystem::path> written;
    bool failed = false;
    for (const auto& meeting : meetings) {
        const auto file = destination.file(meeting->title(), format, meetings.size());
        try {
            writeTranscript(file, Export::bytes(*meeting, format), keptFiles(*meeting, context.directories()));
        } catch (const std::exception& error) {
            context.reportFailure(describe(error));
            failed = true;
            continue;
        }
        const bool again = !written.insert(file).second;
        context.note(again ? fmt::format("{} (in place of another meeting of that title)", file.string())
                           : file.string());
    }
    return failed ? failure : success;
}

} // namespace

void addMeetingsExportCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<ExportOptions>();
    CLI::App& command = addCommand(group, registry, "export", "The transcripts of meetings as files",
                                   "  varnel meetings export latest --format md > notes.md\n"
                                   "  varnel meetings export 1F2E --output talk.srt\n"
                                   "  varnel meetings export 1F2E 77AB --format json --output notes/\n\n"
                                   "In a folder each file is named after its meeting's title; of meetings with the\n"
                                   "same title the last one named stays.");
    command.add_option("MEETING", options->meetings, "Ids, unique beginnings of them, or 'latest'")->required();
    addDestinationOptions(command, options->destination, "md");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return exportMeetings(context, *options); };
    });
}

} // namespace Varnel::CommandLine
