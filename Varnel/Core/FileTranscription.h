#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Platform/Clock.h"
#include "Varnel/Refinement/EmbeddingNetwork.h"
#include "Varnel/Refinement/TranscriptOutput.h"

#include <filesystem>
#include <memory>

namespace Varnel {

// Keeps the transcript of an audio file as a meeting, with a copy of its audio. Main context only.
class FileTranscription {
public:
    // `recordingsFolder` is made (0700) when it is absent. `embeddingNetwork` is what measures voices in the models
    // that the transcripts come from.
    FileTranscription(ModelContext& context, const Clock& clock, std::filesystem::path recordingsFolder,
                      EmbeddingNetwork embeddingNetwork = {});

    // The new meeting, saved: its title is the file's name without extension, it starts now, lasts as long as the
    // audio, has no source application, and a speaker for every voice ("Speaker N" or a recognised name), of whom none
    // is the user. Its audio is a copy of `file` in the recordings folder, "<UUID>-mic.<extension>" (0600); the
    // original is only read.
    //
    // Throws StoreError when the store cannot be written and std::runtime_error "cannot copy 'FROM' to 'TO': " and the
    // reason. Nothing is left behind then: neither a copy nor a record that waits for a save.
    std::shared_ptr<Meeting> save(const std::filesystem::path& file, const Output& output);

private:
    std::shared_ptr<Meeting> insertMeeting(const QString& title, const std::filesystem::path& audio,
                                           const Output& output);

    ModelContext& context_;
    const Clock& clock_;
    std::filesystem::path recordingsFolder_;
    EmbeddingNetwork embeddingNetwork_;
};

} // namespace Varnel
