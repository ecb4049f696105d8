#include "Varnel/CommandLine/AiCommand.h"
#include "Varnel/CommandLine/AssistantText.h"
#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/EditingSession.h"
#include "Varnel/CommandLine/MeetingJson.h"
#include "Varnel/CommandLine/MeetingReference.h"
#include "Varnel/Platform/Linux/TerminationSignals.h"
#include "Varnel/Refinement/RunToEnd.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>

namespace Varnel::CommandLine {

namespace {

struct RunOptions {
    std::string meeting;
    bool json = false;
};

void print(CommandContext& context, const Meeting& meeting, const RunOptions& options) {
    if (options.json) {
        context.output().json(wholeMeetingJson(meeting));
        return;
    }
    QStringList speakers;
    for (const auto& speaker : meeting.speakers())
        speakers += speaker->name();
    context.output().line(QStringLiteral("Speakers: ") + speakers.join(QStringLiteral(", ")).simplified());
    context.output().write(assistantText(meeting));
}

int run(CommandContext& context, const RunOptions& options) {
    const TerminationSignals signals;
    EditingSession session(context);
    const QUuid id = meetingNamed(options.meeting, session.model())->id();
    context.progress().begin("Asking the language model");
    runToEnd(session.app().runAI(id, signals.token()));
    context.progress().clear();
    if (signals.received() != 0)
        throw Interrupted(signals.received());
    session.save();

    if (const auto& error = session.app().lastAIError())
        throw CommandError(error->toStdString());
    const auto meeting = session.app().fetchMeeting(id);
    if (!meeting)
        throw CommandError("the meeting was deleted meanwhile");
    print(context, *meeting, options);
    return success;
}

} // namespace

void addAiRunCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App& command = addCommand(group, registry, "run", "Run the assistant on a meeting and store its answers",
                                   "  varnel ai run latest\n"
                                   "  varnel ai run 1F2E --json\n\n"
                                   "Speakers that have only a number get the names that the model finds; the summary,\n"
                                   "the action items and the topics are replaced. It needs the setting aiEnabled.");
    command.add_option("MEETING", options->meeting, "Id, a unique beginning of it, or 'latest'")->required();
    command.add_flag("--json", options->json, "Print the whole meeting as JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return run(context, *options); };
    });
}

} // namespace Varnel::CommandLine
