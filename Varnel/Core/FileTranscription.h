#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Platform/Clock.h"
#include "Varnel/Refinement/SpeakerReidentifier.h"
#include "Varnel/Refinement/TranscriptOutput.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace Varnel {

// Keeps the transcript of an audio file as a meeting, with a copy of its audio. Main context only.
class FileTranscription {
public:
    // `recordingsFolder` is made (0700) when it is absent.
    FileTranscription(ModelContext& context, const Clock& clock, std::filesystem::path recordingsFolder);

    // The new meeting, saved: its title is the file's name without extension, it starts now, lasts as long as the
    // audio, has no source application, and a speaker for every voice ("Speaker N" or a recognised name), of whom none
    // is the user. Its audio is a copy of `file` in the recordings folder, "<UUID>-mic.<extension>" (0600); the
    // original is only read.
    //
    // Throws StoreError when the store cannot be written and std::runtime_error "cannot copy 'FROM' to 'TO': " and the
    // reason. Nothing is left behind then: neither a copy nor a record that waits for a save.
    std::shared_ptr<Meeting> save(const std::filesystem::path& file, const Output& output);

    // Recognises a voice among those of other meetings; matchVoice unless replaced.
    std::function<std::optional<SpeakerReidentifier::Match>(const Speaker::Embedding&, const QUuid& excludingMeetingID,
                                                            const ModelContext&)>
        voiceMatcher;

private:
    std::shared_ptr<Meeting> insertMeeting(const QString& title, const std::filesystem::path& audio,
                                           const Output& output);

    ModelContext& context_;
    const Clock& clock_;
    std::filesystem::path recordingsFolder_;
};

} // namespace Varnel
