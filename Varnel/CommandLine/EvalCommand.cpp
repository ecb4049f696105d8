#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Refinement/WordErrorRate.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <memory>

namespace Varnel::CommandLine {

namespace {

constexpr std::size_t largestText = 256U << 20U; // bytes

struct EvalOptions {
    std::string reference;
    std::string hypothesis;
    bool json = false;
};

QString readText(const std::string& name, CommandContext& context) {
    std::string bytes;
    if (name == "-") {
        bytes = readAll(context.input(), largestText);
    } else {
        std::error_code error;
        if (std::filesystem::is_directory(name, error))
            throw CommandError(fmt::format("cannot read {}: is a directory", inQuotes(name)));
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), &std::fclose);
        if (!file)
            throw CommandError(fmt::format("cannot read {}: {}", inQuotes(name), std::strerror(errno)));
        try {
            bytes = readAll(file.get(), largestText);
        } catch (const CommandError&) {
            throw CommandError(fmt::format("cannot read {}: it is too long or cannot be read", inQuotes(name)));
        }
    }
    return QString::fromStdString(bytes);
}

int wordErrorRate(CommandContext& context, const EvalOptions& options) {
    if (options.reference == "-" && options.hypothesis == "-")
        throw CommandError::usage("only one of the two texts can come from standard input");
    const QString reference = readText(options.reference, context);
    const auto rate = WordErrorRate::of(reference, readText(options.hypothesis, context));
    if (options.json) {
        context.output().json({{"wordErrorRate", rate.percent() / 100.0},
                               {"errors", rate.errors()},
                               {"substitutions", rate.substitutions},
                               {"deletions", rate.deletions},
                               {"insertions", rate.insertions},
                               {"referenceWords", rate.referenceWords},
                               {"hypothesisWords", rate.hypothesisWords}});
        return success;
    }
    context.output().write(
        fmt::format("WER {:.2f}%  ({} errors in {} words: {} substituted, {} deleted, {} inserted)\n", rate.percent(),
                    rate.errors(), rate.referenceWords, rate.substitutions, rate.deletions, rate.insertions));
    return success;
}

} // namespace

void addEvalCommand(const CommandRegistry& registry) {
    CLI::App& group = addCommand(registry.app, registry, "eval", "Measure a transcript against a reference",
                                 "  varnel eval wer reference.txt hypothesis.txt");
    group.require_subcommand(1);

    auto options = std::make_shared<EvalOptions>();
    CLI::App& wer = addCommand(group, registry, "wer", "Word error rate of two texts",
                               "  varnel eval wer reference.txt hypothesis.txt\n"
                               "  varnel transcribe --no-diarization talk.wav | varnel eval wer reference.txt -\n\n"
                               "Case and punctuation do not count. Errors are the substituted, deleted and inserted\n"
                               "words, in percent of the words of the reference.");
    wer.add_option("REFERENCE", options->reference, "Text file with what was said; - for standard input")->required();
    wer.add_option("HYPOTHESIS", options->hypothesis, "Text file with what was recognised; - for standard input")
        ->required();
    wer.add_flag("--json", options->json, "Print JSON");
    wer.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return wordErrorRate(context, *options); };
    });
}

} // namespace Varnel::CommandLine
