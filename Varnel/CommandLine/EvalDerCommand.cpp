#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/EvalCommand.h"
#include "Varnel/CommandLine/InputText.h"
#include "Varnel/Refinement/DiarizationErrorRate.h"
#include "Varnel/Refinement/RttmFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace Varnel::CommandLine {

namespace {

constexpr std::size_t largestRttm = 64U << 20U; // bytes
constexpr double largestCollar = 3600;          // seconds

struct DerOptions {
    std::string reference;
    std::string hypothesis;
    double collar = 0;
    bool skipOverlap = false;
    bool json = false;

    DiarizationErrorRate::Scoring scoring() const {
        using Overlap = DiarizationErrorRate::Overlap;
        return {.collar = collar, .overlap = skipOverlap ? Overlap::skipped : Overlap::scored};
    }
};

// Empty for a collar that there can be; not a number is none.
std::string collarProblem(const std::string& text) {
    double seconds = 0;
    if (CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= largestCollar)
        return {};
    return fmt::format("must be between 0 and {:.0f} seconds", largestCollar);
}

RttmFile readRttm(const std::string& name, CommandContext& context) {
    return RttmFile::parse(inputText(name, largestRttm, context), name == "-" ? "standard input" : name);
}

struct Recording {
    std::string name;
    DiarizationErrorRate rate;
};

// Every recording of either file, by name.
std::vector<Recording> compare(const RttmFile& reference, const RttmFile& hypothesis,
                               const DiarizationErrorRate::Scoring& scoring) {
    static const std::vector<SpeakerTurn> silence;
    const auto turnsOf = [](const RttmFile& file, const std::string& name) -> const std::vector<SpeakerTurn>& {
        const auto found = file.turns.find(name);
        return found == file.turns.end() ? silence : found->second;
    };
    auto all = reference.turns;
    all.insert(hypothesis.turns.begin(), hypothesis.turns.end());
    std::vector<Recording> result;
    for (const auto& [name, turns] : all)
        result.push_back(
            {name, DiarizationErrorRate::of(turnsOf(reference, name), turnsOf(hypothesis, name), scoring)});
    return result;
}

// Files about different recordings have nothing in common to measure; one that is about more is measured, and told.
void checkRecordings(const RttmFile& reference, const RttmFile& hypothesis, CommandContext& context) {
    const auto lacking = [](const RttmFile& file, const RttmFile& other) {
        std::vector<std::string> names;
        for (const auto& [name, turns] : file.turns)
            if (!other.turns.contains(name))
                names.push_back(name);
        return names;
    };
    const auto missed = lacking(reference, hypothesis);
    const auto invented = lacking(hypothesis, reference);
    if (!missed.empty() && missed.size() == reference.turns.size() && !invented.empty() &&
        invented.size() == hypothesis.turns.size())
        throw CommandError(fmt::format("the files are of different recordings: {} and {}", inQuotes(missed.front()),
                                       inQuotes(invented.front())));
    for (const std::string& name : missed)
        context.note(fmt::format("The hypothesis has nothing of the recording {}", inQuotes(name)));
    for (const std::string& name : invented)
        context.note(fmt::format("The reference has nothing of the recording {}", inQuotes(name)));
}

nlohmann::ordered_json rateJson(const DiarizationErrorRate& rate) {
    return {{"diarizationErrorRate", rate.percent() / 100.0}, {"missedSeconds", rate.missedSeconds},
            {"falseAlarmSeconds", rate.falseAlarmSeconds},    {"confusedSeconds", rate.confusedSeconds},
            {"referenceSeconds", rate.referenceSeconds},      {"referenceSpeakers", rate.referenceSpeakers},
            {"hypothesisSpeakers", rate.hypothesisSpeakers}};
}

void printJson(CommandContext& context, const std::vector<Recording>& recordings, const DiarizationErrorRate& sum,
               const DerOptions& options) {
    nlohmann::ordered_json object = rateJson(sum);
    object["collarSeconds"] = options.collar;
    object["overlapScored"] = !options.skipOverlap;
    object["recordings"] = nlohmann::ordered_json::array();
    for (const Recording& recording : recordings) {
        nlohmann::ordered_json entry{{"recording", recording.name}};
        entry.update(rateJson(recording.rate));
        object["recordings"].push_back(std::move(entry));
    }
    context.output().json(object);
}

void printText(CommandContext& context, const std::vector<Recording>& recordings, const DiarizationErrorRate& sum) {
    Output& output = context.output();
    if (recordings.size() > 1) {
        output.write(fmt::format("{:>8}  {:>9}  {:>9}  {:>9}  {:>9}  {:>8}  {}\n", "DER", "MISSED", "FALSE", "CONFUSED",
                                 "OF", "SPEAKERS", "RECORDING"));
        for (const auto& [name, rate] : recordings)
            output.write(fmt::format(
                "{:>7.2f}%  {:>7.1f} s  {:>7.1f} s  {:>7.1f} s  {:>7.1f} s  {:>8}  {}\n", rate.percent(),
                rate.missedSeconds, rate.falseAlarmSeconds, rate.confusedSeconds, rate.referenceSeconds,
                fmt::format("{} of {}", rate.hypothesisSpeakers, rate.referenceSpeakers), singleLine(name)));
        output.write("\n");
    }
    output.write(fmt::format("DER {:.2f}%  ({:.1f} s of {:.1f} s: {:.1f} s missed, {:.1f} s false alarm, {:.1f} s "
                             "confused)\nSpeakers: {} in the reference, {} in the hypothesis\n",
                             sum.percent(), sum.errorSeconds(), sum.referenceSeconds, sum.missedSeconds,
                             sum.falseAlarmSeconds, sum.confusedSeconds, sum.referenceSpeakers,
                             sum.hypothesisSpeakers));
}

int diarizationErrorRate(CommandContext& context, const DerOptions& options) {
    if (options.reference == "-" && options.hypothesis == "-")
        throw CommandError::usage("only one of the two files can come from standard input");
    const RttmFile reference = readRttm(options.reference, context);
    const RttmFile hypothesis = readRttm(options.hypothesis, context);
    checkRecordings(reference, hypothesis, context);
    const std::vector<Recording> recordings = compare(reference, hypothesis, options.scoring());
    DiarizationErrorRate sum;
    for (const Recording& recording : recordings)
        sum += recording.rate;
    if (options.json)
        printJson(context, recordings, sum, options);
    else
        printText(context, recordings, sum);
    return success;
}

} // namespace

void addEvalDerCommand(CLI::App& group, const CommandRegistry& registry) {
    const auto options = std::make_shared<DerOptions>();
    CLI::App& command =
        addCommand(group, registry, "der", "Diarization error rate: how well the speakers were told apart",
                   "  varnel eval der reference.rttm hypothesis.rttm --collar 0.25\n"
                   "  varnel diarize --rttm talk.wav | varnel eval der talk.rttm -\n\n"
                   "Errors are the seconds missed, falsely alarmed and confused, in percent of the reference's\n"
                   "speech, each speaker counted; the hypothesis' speakers are paired with the reference's in the\n"
                   "best way. Recordings are told apart by the name in each line and pooled.");
    command.add_option("REFERENCE", options->reference, "RTTM file with who spoke when; - for standard input")
        ->required();
    command.add_option("HYPOTHESIS", options->hypothesis, "RTTM file to measure; - for standard input")->required();
    command
        .add_option("--collar", options->collar,
                    "Do not score so many seconds before and after each change in the reference")
        ->check(&collarProblem)
        ->type_name("SECONDS");
    command.add_flag("--skip-overlap", options->skipOverlap,
                     "Do not score where two or more speak at once in the reference");
    command.add_flag("--json", options->json, "Print JSON");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return diarizationErrorRate(context, *options); };
    });
}

} // namespace Varnel::CommandLine
