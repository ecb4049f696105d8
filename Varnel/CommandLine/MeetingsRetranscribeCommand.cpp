#include "Varnel/CommandLine/AssistantWait.h"
#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/CommandLine/MeetingsCommand.h"
#include "Varnel/CommandLine/SpeakersCommand.h"
#include "Varnel/Platform/Linux/TerminationSignals.h"
#include "Varnel/Refinement/RunToEnd.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>

namespace Varnel::CommandLine {

namespace {

bool hasRecording(const Meeting& meeting) {
    std::error_code ignored;
    return meeting.audioFilePath() && std::filesystem::exists(meeting.audioFilePath()->toStdString(), ignored);
}

// There is nothing to transcribe: the hub marks the title.
[[noreturn]] void markTitle(CommandContext& context, const std::shared_ptr<Meeting>& meeting) {
    EditingSession session(context);
    const std::string before = inQuotes(meeting->title().toStdString());
    runToEnd(session.app().retranscribe(meeting->id()));
    session.save();
    throw CommandError(fmt::format("there is no recording of {} on this machine to transcribe; its title is {} now",
                                   before, inQuotes(meeting->title().toStdString())));
}

void transcribe(EditingSession& session, const Meeting& meeting, ProgressBar& bar, const std::stop_token& stop) {
    bar.begin("Loading the models");
    runToEnd(session.engine().ensureWarm());
    if (const auto* failure = std::get_if<TranscriptionEngine::Failed>(&session.engine().status()))
        throw CommandError(fmt::format("cannot load the models: {}", failure->description.toStdString()));
    QString reason;
    QObject::connect(&session.app(), &AppState::transcriptionFailed, &session.app(),
                     [&reason](const QUuid&, const QString& why) { reason = why; });
    bar.begin(fmt::format("Transcribing {}", meeting.title().toStdString()));
    runToEnd(session.app().retranscribe(
        meeting.id(), [&bar](double share) { bar.update(share); }, stop));
    if (!reason.isEmpty())
        throw CommandError(
            fmt::format("{} stays as it was: {}", inQuotes(meeting.title().toStdString()), reason.toStdString()));
    session.save();
    bar.begin("Asking the language model");
    waitForAssistant(session.app(), stop);
    if (!stop.stop_requested())
        session.save();
}

int retranscribe(CommandContext& context, const std::string& reference) {
    const auto meeting = meetingNamed(reference, context.store().mainContext());
    if (!hasRecording(*meeting))
        markTitle(context, meeting);
    const TerminationSignals signals;
    EditingSession session(context, context.modelsInUse().set, signals.token());
    try {
        transcribe(session, *meeting, context.progress(), signals.token());
    } catch (const std::exception&) {
        context.progress().clear();
        if (signals.received() != 0)
            throw Interrupted(signals.received());
        throw;
    }
    context.progress().clear();
    if (signals.received() != 0) // while the assistant ran: the transcript is kept
        throw Interrupted(signals.received());
    context.note(fmt::format("Transcribed {} again: {}, {}", inQuotes(meeting->title().toStdString()),
                             counted(meeting->segments().size(), "line"),
                             counted(meeting->speakers().size(), "speaker")));
    if (const auto& error = session.app().lastAIError())
        throw CommandError(error->toStdString());
    return success;
}

} // namespace

void addMeetingsRetranscribeCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto meeting = std::make_shared<std::string>();
    CLI::App& command =
        addCommand(group, registry, "retranscribe", "Transcribe a meeting's recording again",
                   "  varnel meetings retranscribe latest\n\n"
                   "Its lines and speakers are replaced: names given by hand are lost, unless the voice\n"
                   "is recognised from another meeting. The title of a meeting without a recording is\n"
                   "marked as '(re-transcribed)', and nothing else happens.");
    command.add_option("MEETING", *meeting, "Id, a unique beginning of it, or 'latest'")->required();
    command.callback([&action = registry.action, meeting] {
        action = [meeting](CommandContext& context) { return retranscribe(context, *meeting); };
    });
}

} // namespace Varnel::CommandLine
