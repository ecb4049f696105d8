#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/DiarizationText.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/SpeechModels.h"
#include "Varnel/Platform/Linux/TerminationSignals.h"
#include "Varnel/Refinement/FileRecognition.h"
#include "VarnelSpeech/Shared/AudioFile.h"
#include "VarnelSpeech/Shared/AudioFileError.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace Varnel::CommandLine {

namespace {

using VarnelSpeech::DiarizationResult;

struct DiarizeOptions {
    std::string file;
    bool rttm = false;
    bool json = false;
    bool embeddings = false;
};

DiarizationResult diarize(CommandContext& context, const std::filesystem::path& file, const ModelSet& models,
                          const std::stop_token& stop) {
    constexpr int sampleRate = 16000;
    ProgressBar& bar = context.progress();
    const auto diarizer = diarizerOf(models, stop);
    bar.begin(fmt::format("Reading {}", file.filename().string()));
    // Reported from this thread.
    const auto samples = readForModels(
        file, [&bar](double share) { bar.update(share); }, stop);
    bar.begin("Loading the models");
    diarizer->loadModels();
    bar.begin(fmt::format("Telling the speakers of {} apart", file.filename().string()));
    return diarizer->diarize(samples, sampleRate, 0, stop, [&bar](double share) { bar.update(share); });
}

void print(CommandContext& context, const DiarizationResult& result, const DiarizeOptions& options) {
    Output& output = context.output();
    if (options.rttm)
        output.write(diarizationRttm(result, std::filesystem::path(options.file).stem().string()));
    else if (options.json)
        output.json(diarizationJson(result, options.embeddings ? Embeddings::included : Embeddings::leftOut));
    else if (result.segments.empty())
        context.note("Nobody speaks");
    else
        output.write(diarizationTable(result, context.colors()));
}

int diarize(CommandContext& context, const DiarizeOptions& options) {
    const std::filesystem::path file = options.file;
    const TerminationSignals signals;
    DiarizationResult result;
    try {
        // What is no audio file at all is told before anything else.
        VarnelSpeech::AudioFile(file, signals.token());
        const ModelSet models = context.modelsInUse().set;
        if (const auto problem = whatKeepsSpeakersTogether(models))
            throw CommandError("speakers cannot be told apart: " + *problem);
        result = diarize(context, file, models, signals.token());
    } catch (const std::exception& error) {
        context.progress().clear();
        if (signals.received() != 0)
            throw Interrupted(signals.received());
        if (dynamic_cast<const CommandError*>(&error) != nullptr ||
            dynamic_cast<const ModelSetError*>(&error) != nullptr ||
            dynamic_cast<const VarnelSpeech::AudioFileError*>(&error) != nullptr) // names the file
            throw;
        throw CommandError(fmt::format("{}: {}", inQuotes(options.file), describe(error)));
    }
    context.progress().clear();
    print(context, result, options);
    return success;
}

} // namespace

void addDiarizeCommand(const CommandRegistry& registry) {
    const auto options = std::make_shared<DiarizeOptions>();
    CLI::App& command = addCommand(registry.app, registry, "diarize", "Who speaks when in an audio file",
                                   "  varnel diarize talk.wav\n"
                                   "  varnel diarize --rttm talk.wav | varnel eval der reference.rttm -\n\n"
                                   "Speakers are numbered as they come; who they are is told by 'varnel transcribe\n"
                                   "--save', which compares their voices with those of other meetings.");
    command.add_option("FILE", options->file, "The audio file; it is only read")->required();
    CLI::Option* rttm = command.add_flag("--rttm", options->rttm, "Print RTTM, one SPEAKER line a turn");
    CLI::Option* json = command.add_flag("--json", options->json, "Print JSON");
    rttm->excludes(json);
    command.add_flag("--embeddings", options->embeddings, "With --json: the voices too, 256 numbers each")->needs(json);
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return diarize(context, *options); };
    });
}

} // namespace Varnel::CommandLine
