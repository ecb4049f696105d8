#include "Varnel/CommandLine/EvalCommand.h"
#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/InputText.h"
#include "Varnel/Refinement/WordErrorRate.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace Varnel::CommandLine {

namespace {

constexpr std::size_t largestText = 256U << 20U; // bytes

struct EvalOptions {
    std::string reference;
    std::string hypothesis;
    bool json = false;
};

int wordErrorRate(CommandContext& context, const EvalOptions& options) {
    if (options.reference == "-" && options.hypothesis == "-")
        throw CommandError::usage("only one of the two texts can come from standard input");
    const QString reference = QString::fromStdString(inputText(options.reference, largestText, context));
    const QString hypothesis = QString::fromStdString(inputText(options.hypothesis, largestText, context));
    const auto rate = WordErrorRate::of(reference, hypothesis);
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
    CLI::App& group = addCommand(registry.app, registry, "eval", "Measure results against a reference",
                                 "  varnel eval wer reference.txt hypothesis.txt\n"
                                 "  varnel eval der reference.rttm hypothesis.rttm");
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
    addEvalDerCommand(group, registry);
}

} // namespace Varnel::CommandLine
