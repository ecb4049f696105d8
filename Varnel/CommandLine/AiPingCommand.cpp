#include "Varnel/CommandLine/AiCommand.h"
#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/Platform/Linux/CurlHttpClient.h"
#include "Varnel/Platform/Linux/TerminationSignals.h"
#include "Varnel/Refinement/ConnectionTest.h"
#include "Varnel/Refinement/RunToEnd.h"

#include <CLI/CLI.hpp>

#include <stop_token>

namespace Varnel::CommandLine {

namespace {

int ping(CommandContext& context) {
    const TerminationSignals signals;
    const Settings settings = context.settings();
    CurlHttpClient http;
    ConnectionTest test(settings, http);
    context.progress().begin("Testing...");
    {
        const std::stop_callback cancel(signals.token(), [&test] {
            QMetaObject::invokeMethod(
                &test, [&test] { test.cancel(); }, Qt::QueuedConnection);
        });
        runToEnd(test.run());
    }
    context.progress().clear();
    if (signals.received() != 0)
        throw Interrupted(signals.received());
    if (test.colour() == ConnectionTest::Colour::failure)
        throw CommandError(test.result()->toStdString());
    context.output().line(*test.result());
    return success;
}

} // namespace

void addAiPingCommand(CLI::App& group, const CommandRegistry& registry) {
    CLI::App& command =
        addCommand(group, registry, "ping", "Test the connection to the language model's server", "  varnel ai ping");
    command.callback([&action = registry.action] { action = &ping; });
}

} // namespace Varnel::CommandLine
