#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/Settings.h"
#include "Varnel/Platform/Clock.h"
#include "Varnel/Platform/FileChooser.h"
#include "Varnel/Platform/HttpClient.h"
#include "Varnel/Refinement/EmbeddingNetwork.h"
#include "Varnel/Refinement/MainContextWait.h"
#include "Varnel/Refinement/TranscriptionEngine.h"
#include "Varnel/Refinement/WaveformCacheHooks.h"

#include <QObject>
#include <QSet>
#include <QUuid>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

namespace Varnel {

struct AssistantAnswers;

// The hub of the running application: one observable object on the main context.
class AppState : public QObject {
    Q_OBJECT

public:
    // What AppState is given; all of it outlives it.
    struct Collaborators {
        ModelContext& modelContext;
        Settings& settings;
        TranscriptionEngine& transcriptionEngine;
        // What follows may be left out, and with it what needs it.
        EmbeddingNetwork embeddingNetwork{};      // what measures voices in the engine's models
        std::filesystem::path recordingsFolder{}; // nothing that lies elsewhere is ever deleted
        const Clock* clock = nullptr;             // for importAudio
        FileChooser* fileChooser = nullptr;       // for importAudio
        WaveformCacheHooks* waveforms = nullptr;
        HttpClient* httpClient = nullptr; // for the assistant
    };

    explicit AppState(Collaborators collaborators, QObject* parent = nullptr);
    ~AppState() override;

    ModelContext& modelContext() { return modelContext_; }

    // The selection of the main window.
    const QSet<QUuid>& selectedMeetingIDs() const { return selectedMeetingIDs_; }

    void setSelectedMeetingIDs(const QSet<QUuid>& ids);
    // That one alone, or none at all.
    void selectMeeting(const std::optional<QUuid>& id);
    // The one selected meeting; none when several are.
    std::optional<QUuid> selectedMeetingID() const;

    // Meetings in batch transcription.
    const QSet<QUuid>& transcribingMeetingIDs() const { return transcribingMeetingIDs_; }

    // The first meeting with that id; a failed fetch gives none.
    std::shared_ptr<Meeting> fetchMeeting(const QUuid& id) const;

    // Transcribes the microphone's file and then the system's, and stores the result. A failure is a log line; the
    // meeting stays as it is; whoever waits learns of it by transcriptionFailed. Several meetings may be under way.
    // When this object goes first, nothing is stored. `progress` rises from 0 to 1 over both files; a requested stop is
    // a failure. Runs to its end whether or not it is awaited.
    QCoro::Task<> transcribeMeeting(QUuid meetingID, std::filesystem::path micFile,
                                    std::optional<std::filesystem::path> systemFile,
                                    TranscriptionEngine::Progress progress = {}, std::stop_token stop = {});

    // Replaces the meeting's speakers and segments and saves, ignoring a failure; a meeting that is gone is skipped.
    // `systemSegments`: none for a recording of the microphone alone, empty for a system stream in which nobody spoke.
    void applyTranscription(const QUuid& meetingID, const std::vector<Output::Segment>& micSegments,
                            const std::optional<std::vector<Output::Segment>>& systemSegments);

    // Asks the language model for speakers' names, a summary, action items and topics of a meeting, four requests at
    // once, and stores the answers. A failure is lastAIError; of several the last one named here. A step that failed
    // leaves the others' answers alone. Starts by itself, from the event loop, after a transcription was applied when
    // the setting `aiEnabled` is on. A requested stop, the meeting's deletion, or this object's end: nothing is stored.
    QCoro::Task<> runAI(QUuid meetingID, std::stop_token stop = {});

    // Meetings in a run.
    const QSet<QUuid>& aiProcessingMeetingIDs() const { return aiProcessingMeetingIDs_; }

    // Why the last run did not do all of its work; none after one that did, and at its start.
    const std::optional<QString>& lastAIError() const { return lastAIError_; }

    void dismissLastAIError();

    // Editing. Each operation ends with a save whose failure is ignored: what was not saved stays pending until the
    // next save, and modelContext().hasChanges() tells of it. A record that is not there, and a store that cannot be
    // read, end an operation without a word. Names and titles are trimmed; an empty one changes nothing.

    // Lets the user pick an audio file and makes a meeting of its length out of sample lines, "Imported " and the
    // file's name, and selects it. The sound itself is not kept. 60 seconds for a file whose length cannot be read.
    QCoro::Task<> importAudio();

    // Transcribes the meeting's audio again; without an audio file it marks the title with " (re-transcribed)", once.
    // Speakers and their names are replaced. Progress, stop and failures as with transcribeMeeting.
    QCoro::Task<> retranscribe(QUuid meetingID, TranscriptionEngine::Progress progress = {}, std::stop_token stop = {});
    // The same for a meeting with an audio file; nothing for any other.
    QCoro::Task<> retranscribeFromDisk(QUuid meetingID, TranscriptionEngine::Progress progress = {},
                                       std::stop_token stop = {});

    // With the microphone's file, where that lies in the recordings folder; the system's audio stays on disk. They
    // leave the selection, and when nothing is selected any more, the newest meeting is.
    void deleteMeeting(QUuid meetingID);
    void deleteMeetings(QSet<QUuid> ids);
    // The latest by its start, of several the first that was inserted.
    std::optional<QUuid> newestMeetingID() const;
    void renameMeeting(QUuid meetingID, const QString& title);

    void renameSpeaker(QUuid meetingID, QUuid speakerID, const QString& name);
    // This speaker, and no other of the meeting, is the user.
    void markSpeakerAsYou(QUuid meetingID, QUuid speakerID);
    // The source's lines become the target's, and the source goes with its voice. A speaker merged with itself goes
    // too and leaves its lines without one: not to be offered.
    void mergeSpeaker(QUuid meetingID, QUuid sourceID, QUuid targetID);

    // On all speakers of exactly that name, in every meeting.
    void renameSpeakerEverywhere(const QString& oldName, const QString& newName);
    void recolorSpeakerEverywhere(const QString& name, const QString& colorHex);
    // They are no longer recognised, and none of them is the user.
    void forgetSpeakerVoice(const QString& name);
    // Their lines stay without a speaker.
    void deleteSpeakerEverywhere(const QString& name);

Q_SIGNALS:
    void selectedMeetingIDsChanged();
    void transcribingMeetingIDsChanged();
    void aiProcessingMeetingIDsChanged();
    void lastAIErrorChanged();
    // The microphone's file could not be transcribed, or its transcript not be applied; the meeting is as before.
    void transcriptionFailed(const QUuid& meetingID, const QString& reason);

private:
    void setTranscribing(const QUuid& meetingID, bool isTranscribing);
    void failTranscription(const QUuid& meetingID, const QString& reason);
    void startAI(const QUuid& meetingID);
    void storeAnswers(const QUuid& meetingID, const AssistantAnswers& answers);
    void setAIProcessing(const QUuid& meetingID, bool isProcessing);
    void setLastAIError(std::optional<QString> error);
    void saveIgnoringFailure();
    void insertSampleMeeting(const std::filesystem::path& file, double duration);
    void deleteAudioFile(const Meeting& meeting);
    void unselect(const QSet<QUuid>& ids);
    std::vector<std::shared_ptr<Speaker>> speakersNamed(const QString& name) const;

    ModelContext& modelContext_;
    Settings& settings_;
    TranscriptionEngine& transcriptionEngine_;
    EmbeddingNetwork embeddingNetwork_;
    std::filesystem::path recordingsFolder_;
    const Clock* clock_;
    FileChooser* fileChooser_;
    WaveformCacheHooks* waveforms_;
    HttpClient* httpClient_;
    WaitingRoom room_; // coroutines that wait for work of this object
    QSet<QUuid> selectedMeetingIDs_;
    QSet<QUuid> transcribingMeetingIDs_;
    QSet<QUuid> aiProcessingMeetingIDs_;
    std::optional<QString> lastAIError_;
    std::stop_source assistantStop_; // of all runs
};

} // namespace Varnel
