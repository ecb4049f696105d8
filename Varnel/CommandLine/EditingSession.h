#pragma once

#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/Core/AppState.h"
#include "Varnel/Platform/Linux/CurlHttpClient.h"
#include "Varnel/Refinement/TranscriptionEngine.h"

#include <memory>

namespace Varnel::CommandLine {

// The application's hub over the user's store, for the commands that change stored meetings.
class EditingSession {
public:
    // Without models: nothing can be transcribed. Throws StoreError.
    explicit EditingSession(CommandContext& context);
    // With those of a set.
    EditingSession(CommandContext& context, const ModelSet& models, std::stop_token stop);

    AppState& app() { return app_; }

    TranscriptionEngine& engine() { return engine_; }

    ModelContext& model() { return app_.modelContext(); }

    // Saves what an operation of the hub, which ignores a failure, left unsaved. Throws StoreError.
    void save() { model().save(); }

private:
    EditingSession(CommandContext& context, EmbeddingNetwork network, TranscriptionEngine::AsrLoader loader,
                   std::shared_ptr<SpeakerDiarization> diarizer);

    Settings settings_;
    TranscriptionEngine engine_;
    CurlHttpClient http_; // for the assistant
    AppState app_;
};

} // namespace Varnel::CommandLine
