#include "Varnel/CommandLine/CommandLine.h"

#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/LogRouting.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <sstream>

namespace Varnel::CommandLine {

namespace {

constexpr const char* description = "Local-first meeting notes: transcripts of recordings, kept and found again.";
constexpr const char* footer = R"(Every command has its own --help.

Examples:
  varnel transcribe talk.wav
  varnel transcribe --save talk.m4a
  varnel meetings list
  varnel speakers rename 'Speaker 1' Ada --meeting latest
  varnel meetings export latest --format md --output notes.md)";

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
    const auto folder = [](std::optional<std::filesystem::path>& place) {
        return [&place](const std::string& value) { place = value; };
    };
    constexpr const char* group = "Global options";
    app.add_flag("-q,--quiet", options.quiet, "Print results and errors only")->group(group);
    app.add_flag("-v,--verbose", options.verbose, "Print log lines on standard error")->group(group);
    app.add_option_function<std::string>("--data-dir", folder(options.dataFolder),
                                         "Folder of the store and the recordings")
        ->type_name("DIR")
        ->group(group);
    app.add_option_function<std::string>("--models", folder(options.modelsFolder), "Folder of the models to use")
        ->type_name("DIR")
        ->group(group);
}

// The command that was being parsed, as the user wrote it: "varnel meetings show".
std::string commandPath(const CLI::App& app) {
    const CLI::App* command = &app;
    std::string path = "varnel";
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().back();
        path += " " + command->get_name();
    }
    return path;
}

int printHelpOrVersion(CLI::App& app, const CLI::Success& request, Output& output) {
    std::ostringstream text;
    app.exit(request, text, text);
    output.write(text.str());
    output.flush();
    return success;
}

int perform(const Action& action, const GlobalOptions& options, const Streams& streams,
            const Installation& installation) {
    CommandContext context(options, streams, installation);
    const LogRouting logging(context.directories().logFile(),
                             options.verbose ? LogRouting::Console::on : LogRouting::Console::off);
    const int code = action(context);
    context.output().flush();
    return code;
}

int parseAndPerform(const std::vector<std::string>& arguments, const Streams& streams,
                    const Installation& installation) {
    GlobalOptions options;
    Action action;
    CLI::App app(description, "varnel");
    app.footer(footer);
    app.set_version_flag("--version", "varnel " VARNEL_VERSION, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    addGlobalOptions(app, options);

    const CommandRegistry registry{app, options, action};
    addTranscribeCommand(registry);
    addMeetingsCommand(registry);
    addSpeakersCommand(registry);
    addDiarizeCommand(registry);
    addAiCommand(registry);
    addModelsCommand(registry);
    addSettingsCommand(registry);
    addEvalCommand(registry);
    addDoctorCommand(registry);

    try {
        // The parser takes them from the end.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& request) {
        Output output(streams.out);
        return printHelpOrVersion(app, request, output);
    } catch (const CLI::ParseError& error) {
        throw CommandError::usage(fmt::format("{} (see '{} --help')", error.what(), commandPath(app)));
    }
    return perform(action, options, streams, installation);
}

} // namespace

CLI::App& addCommand(CLI::App& parent, const CommandRegistry& registry, const char* name, const char* description,
                     const char* example) {
    CLI::App& command = *parent.add_subcommand(name, description);
    command.fallthrough();
    command.footer(fmt::format("Examples:\n{}", example));
    addGlobalOptions(command, registry.options);
    return command;
}

int run(const std::vector<std::string>& arguments, const Streams& streams, const Installation& installation) {
    const auto fail = [&](std::string_view text, int code) {
        std::fflush(streams.out);
        std::fputs(errorLine(text).c_str(), streams.err);
        return code;
    };
    try {
        return parseAndPerform(arguments, streams, installation);
    } catch (const OutputClosed&) {
        return success;
    } catch (const Interrupted& interruption) {
        return fail(interruption.what(), interruption.exitCode());
    } catch (const CommandError& error) {
        return fail(error.what(), error.code());
    } catch (const std::exception& error) {
        return fail(describe(error), failure);
    }
}

} // namespace Varnel::CommandLine
