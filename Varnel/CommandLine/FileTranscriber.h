#pragma once

#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/UnsavedMeeting.h"
#include "Varnel/Platform/Linux/SystemClock.h"
#include "Varnel/Platform/Linux/TerminationSignals.h"
#include "Varnel/Refinement/TranscriptionEngine.h"

#include <filesystem>
#include <memory>
#include <stdexcept>

namespace Varnel::CommandLine {

// Why one file has no transcript; others may still have theirs.
class TranscriptionFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Transcribes files one after the other with the models in use, with a progress bar, and keeps them as meetings when
// asked to. SIGINT and SIGTERM end it in good order while it lives.
class FileTranscriber {
public:
    enum class Keeping { saved, unsaved };
    enum class Speakers { apart, together };

    struct Result {
        Varnel::Output output;
        std::shared_ptr<Meeting> saved; // none when it is not kept
        std::string savingFailure;      // why it was to be kept and was not; the transcript is there all the same
        std::unique_ptr<UnsavedMeeting> unsaved;
        QDateTime madeAt;

        // The meeting that was saved, or one in memory under that title.
        const Meeting& meeting(const QString& title);
    };

    // Opens the store when the transcripts are to be saved, so that one that cannot be written is told before the
    // work. Throws StoreError, ModelSetError.
    FileTranscriber(CommandContext& context, Keeping keeping, Speakers speakers);
    ~FileTranscriber();

    // Throws TranscriptionFailure for what is wrong with the file, CommandError when no file can be transcribed (the
    // models do not load), and Interrupted after a signal.
    Result transcribe(const std::filesystem::path& file);

private:
    void loadModels();
    Varnel::Output recognise(const std::filesystem::path& file);
    void save(const std::filesystem::path& file, Result& result);

    CommandContext& context_;
    Keeping keeping_;
    Speakers speakers_;
    TerminationSignals signals_;
    SystemClock clock_;
    ModelSet models_;
    TranscriptionEngine engine_;
    bool isWarm_ = false;
};

} // namespace Varnel::CommandLine
