#include "Varnel/CommandLine/EditingSession.h"

#include "Varnel/CommandLine/SpeechModels.h"

#include <stdexcept>
#include <utility>

namespace Varnel::CommandLine {

EditingSession::EditingSession(CommandContext& context)
    : EditingSession(
          context, EmbeddingNetwork(),
          []() -> VarnelSpeech::AsrModels { throw std::logic_error("this command transcribes nothing"); }, nullptr) {}

EditingSession::EditingSession(CommandContext& context, const ModelSet& models, std::stop_token stop)
    : EditingSession(context, EmbeddingNetwork(models), recogniserOf(models, stop), diarizerOf(models, stop)) {}

EditingSession::EditingSession(CommandContext& context, EmbeddingNetwork network, TranscriptionEngine::AsrLoader loader,
                               std::shared_ptr<SpeakerDiarization> diarizer)
    : settings_(context.settings()),
      engine_(std::move(loader), std::move(diarizer)),
      app_({.modelContext = context.store().mainContext(),
            .settings = settings_,
            .transcriptionEngine = engine_,
            .embeddingNetwork = std::move(network),
            .recordingsFolder = context.directories().recordings(),
            .httpClient = &http_}) {}

} // namespace Varnel::CommandLine
