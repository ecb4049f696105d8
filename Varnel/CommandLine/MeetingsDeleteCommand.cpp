#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/Confirmation.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>

namespace Varnel::CommandLine {

namespace {

struct DeleteOptions {
    std::vector<std::string> meetings;
    bool yes = false;
};

bool exists(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::exists(file, ignored);
}

// What is to be told of a meeting once it is gone.
struct Deleted {
    explicit Deleted(const Meeting& meeting) : title(inQuotes(meeting.title().toStdString())) {
        if (meeting.audioFilePath() && exists(meeting.audioFilePath()->toStdString()))
            audio = meeting.audioFilePath()->toStdString();
        if (meeting.systemAudioFilePath() && exists(meeting.systemAudioFilePath()->toStdString()))
            systemAudio = meeting.systemAudioFilePath()->toStdString();
    }

    std::string text() const {
        std::string text = "Deleted " + title;
        if (!audio.empty())
            text += exists(audio)
                        ? fmt::format("; its audio {} stays: it lies elsewhere, or cannot be deleted", inQuotes(audio))
                        : fmt::format(" and its audio {}", inQuotes(audio));
        if (!systemAudio.empty())
            text += fmt::format("; the other side's audio {} stays", inQuotes(systemAudio));
        return text;
    }

    std::string title;
    std::string audio; // empty: none
    std::string systemAudio;
};

std::string question(const std::vector<Deleted>& deleted) {
    if (deleted.size() == 1)
        return fmt::format("Delete {} with its audio?", deleted.front().title);
    return fmt::format("Delete {} meetings with their audio?", deleted.size());
}

int deleteMeetings(CommandContext& context, const DeleteOptions& options) {
    EditingSession session(context);
    QSet<QUuid> ids;
    std::vector<Deleted> deleted;
    for (const std::string& reference : options.meetings) {
        const auto meeting = meetingNamed(reference, session.model());
        if (ids.contains(meeting->id()))
            continue;
        ids.insert(meeting->id());
        deleted.emplace_back(*meeting);
    }
    requireConsent(context, options.yes ? Consent::given : Consent::needed, question(deleted), "--yes");
    session.app().deleteMeetings(ids);
    session.save();
    for (const Deleted& meeting : deleted)
        context.note(meeting.text());
    return success;
}

} // namespace

void addMeetingsDeleteCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<DeleteOptions>();
    CLI::App& command = addCommand(group, registry, "delete", "Delete meetings with their audio",
                                   "  varnel meetings delete 1F2E\n"
                                   "  varnel meetings delete 1F2E 77AB --yes\n\n"
                                   "Only files in the recordings folder are deleted. This cannot be undone: on a\n"
                                   "terminal it asks first, elsewhere it needs --yes.");
    command.add_option("MEETING", options->meetings, "Ids, unique beginnings of them, or 'latest'")->required();
    command.add_flag("-y,--yes", options->yes, "Do not ask");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return deleteMeetings(context, *options); };
    });
}

} // namespace Varnel::CommandLine
