#include "Varnel/CommandLine/FileTranscriber.h"

#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/SpeechModels.h"
#include "Varnel/Core/FileTranscription.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "VarnelSpeech/Shared/AudioFile.h"
#include "VarnelSpeech/Shared/AudioFileError.h"

#include <fmt/format.h>

#include <utility>

namespace Varnel::CommandLine {

const Meeting& FileTranscriber::Result::meeting(const QString& title) {
    if (saved)
        return *saved;
    if (!unsaved)
        unsaved = std::make_unique<UnsavedMeeting>(title, madeAt, output);
    return unsaved->meeting();
}

FileTranscriber::FileTranscriber(CommandContext& context, Keeping keeping, Speakers speakers)
    : context_(context),
      keeping_(keeping),
      speakers_(speakers),
      models_(context.modelsInUse().set),
      engine_(recogniserOf(models_, signals_.token()),
              speakers == Speakers::apart ? diarizerOf(models_, signals_.token()) : nullptr) {
    if (keeping_ == Keeping::saved)
        context_.store();
}

FileTranscriber::~FileTranscriber() = default;

FileTranscriber::Result FileTranscriber::transcribe(const std::filesystem::path& file) {
    Result result;
    try {
        // What is no audio file at all is told before the models load.
        VarnelSpeech::AudioFile(file, signals_.token());
        loadModels();
        result.output = recognise(file);
    } catch (const std::exception& error) {
        context_.progress().clear();
        if (signals_.received() != 0)
            throw Interrupted(signals_.received());
        if (dynamic_cast<const CommandError*>(&error) != nullptr)
            throw;
        if (dynamic_cast<const VarnelSpeech::AudioFileError*>(&error) != nullptr)
            throw TranscriptionFailure(describe(error)); // names the file
        throw TranscriptionFailure(fmt::format("{}: {}", inQuotes(file.string()), describe(error)));
    }
    result.madeAt = clock_.now();
    if (keeping_ == Keeping::saved)
        save(file, result);
    context_.progress().clear();
    return result;
}

void FileTranscriber::save(const std::filesystem::path& file, Result& result) {
    context_.progress().begin("Saving");
    try {
        FileTranscription transcription(context_.store().mainContext(), clock_, context_.directories().recordings(),
                                        EmbeddingNetwork(models_));
        result.saved = transcription.save(file, result.output);
        context_.note(fmt::format("Saved as meeting {}", Varnel::text(result.saved->id()).toStdString()));
    } catch (const std::exception& error) {
        result.savingFailure = fmt::format("{} was not saved: {}", inQuotes(file.string()), describe(error));
    }
}

void FileTranscriber::loadModels() {
    if (isWarm_)
        return;
    context_.progress().begin("Loading the models");
    runToEnd(engine_.ensureWarm());
    isWarm_ = true;
    if (const auto* failure = std::get_if<TranscriptionEngine::Failed>(&engine_.status())) {
        context_.progress().clear();
        throw CommandError(fmt::format("cannot load the models of {}: {}",
                                       inQuotes(Varnel::name(models_).toStdString()),
                                       failure->description.toStdString()));
    }
    if (speakers_ == Speakers::apart && !engine_.diarizationLoaded() && signals_.received() == 0)
        context_.note("Speakers are not told apart: " +
                      whatKeepsSpeakersTogether(models_).value_or("the models for it do not load; "
                                                                  "'varnel models verify' says why"));
}

Varnel::Output FileTranscriber::recognise(const std::filesystem::path& file) {
    ProgressBar& bar = context_.progress();
    bar.begin(fmt::format("Transcribing {}", file.filename().string()));
    const auto report = [&bar](double fraction) { bar.update(fraction); };
    return runToEnd(engine_.transcribe(file, report, signals_.token()));
}

} // namespace Varnel::CommandLine
