#include "Varnel/CommandLine/Command.h"
#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/FileTranscriber.h"
#include "Varnel/CommandLine/TranscriptFormat.h"
#include "Varnel/CommandLine/TranscriptLines.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <map>
#include <memory>

namespace Varnel::CommandLine {

namespace {

struct TranscribeOptions {
    std::vector<std::string> files;
    TranscriptDestination destination;
    bool withoutDiarization = false;
    bool save = false;
};

QString titleOf(const std::filesystem::path& file) {
    return QString::fromStdString(file.stem().string());
}

// Two transcripts in one file would leave one of them, after minutes of work.
void requireDistinctOutputs(const TranscribeOptions& options, Export::Format format) {
    if (options.destination.isStandardOutput())
        return;
    std::map<std::filesystem::path, std::string> inputs;
    for (const std::string& file : options.files) {
        const auto output = options.destination.file(titleOf(file), format, options.files.size());
        const auto [other, isNew] = inputs.emplace(output, file);
        if (!isNew)
            throw CommandError::usage(fmt::format("the transcripts of {} and {} would both be written to {}",
                                                  inQuotes(other->second), inQuotes(file), inQuotes(output.string())));
        // Not only after the work: an output that is the recording is refused at once.
        requireOtherThan(output, {file});
    }
}

// The words alone, on one line: what a word error rate is measured on.
QByteArray bareText(const Varnel::Output& output) {
    QStringList texts;
    for (const auto& segment : output.segments)
        texts << segment.text;
    return texts.join(QLatin1Char(' ')).toUtf8() + '\n';
}

void print(CommandContext& context, const TranscribeOptions& options, Export::Format format,
           const std::filesystem::path& file, FileTranscriber::Result& result) {
    const TranscriptDestination& destination = options.destination;
    const bool isPlain = format == Export::Format::plainText;
    if (isPlain && !options.withoutDiarization && destination.isStandardOutput() &&
        context.colors() != TerminalColors::none) {
        context.output().write(coloredTranscript(result.meeting(titleOf(file)), context.colors()));
        context.output().flush();
        return;
    }
    const QByteArray bytes = isPlain && options.withoutDiarization
                                 ? bareText(result.output)
                                 : Export::bytes(result.meeting(titleOf(file)), format);
    if (destination.isStandardOutput()) {
        context.output().bytes(bytes);
        context.output().flush();
        return;
    }
    const auto output = destination.file(titleOf(file), format, options.files.size());
    const std::vector<std::filesystem::path> inputs(options.files.begin(), options.files.end());
    writeTranscript(output, bytes, inputs);
    context.note(output.string());
}

int transcribe(CommandContext& context, const TranscribeOptions& options) {
    const Export::Format format = options.destination.formatOr(Export::Format::plainText);
    requireDistinctOutputs(options, format);
    const std::vector<std::filesystem::path> inputs(options.files.begin(), options.files.end());

    FileTranscriber transcriber(
        context, options.save ? FileTranscriber::Keeping::saved : FileTranscriber::Keeping::unsaved,
        options.withoutDiarization ? FileTranscriber::Speakers::together : FileTranscriber::Speakers::apart);
    bool failed = false;
    for (const auto& file : inputs) {
        try {
            FileTranscriber::Result result = transcriber.transcribe(file);
            print(context, options, format, file, result);
            if (!result.savingFailure.empty())
                throw TranscriptionFailure(result.savingFailure);
        } catch (const TranscriptionFailure& failure) {
            context.reportFailure(failure.what());
            failed = true;
        }
    }
    return failed ? failure : success;
}

} // namespace

void addTranscribeCommand(const CommandRegistry& registry) {
    const auto options = std::make_shared<TranscribeOptions>();
    CLI::App& command = addCommand(
        registry.app, registry, "transcribe", "Transcripts of audio files",
        "  varnel transcribe talk.wav\n"
        "  varnel transcribe --save talk.m4a\n"
        "  varnel transcribe --output subtitles/ --format srt *.mp3\n"
        "  varnel transcribe --no-diarization talk.wav | varnel eval wer reference.txt -\n\n"
        "Any audio file of at least a second: WAV, FLAC, OGG, MP3, M4A, and the sound of videos. Names that begin\n"
        "with a dash follow after '--'. The recordings themselves are only read.");
    command.add_option("FILE", options->files, "The audio files")->required();
    addDestinationOptions(command, options->destination, "txt");
    command.add_flag("--no-diarization", options->withoutDiarization,
                     "Do not find out who speaks; as txt the words alone are printed, without title and times");
    command.add_flag("--save", options->save, "Store each transcript as a meeting, with a copy of its audio");
    command.callback([&action = registry.action, options] {
        action = [options](CommandContext& context) { return transcribe(context, *options); };
    });
}

} // namespace Varnel::CommandLine
