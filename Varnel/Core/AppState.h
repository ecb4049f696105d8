#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/Settings.h"
#include "Varnel/Refinement/SpeakerReidentifier.h"
#include "Varnel/Refinement/TranscriptionEngine.h"

#include <QObject>
#include <QSet>
#include <QUuid>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Varnel {

// The hub of the running application: one observable object on the main context.
class AppState : public QObject {
    Q_OBJECT

public:
    // What AppState is given; all of it outlives it.
    struct Collaborators {
        ModelContext& modelContext;
        Settings& settings;
        TranscriptionEngine& transcriptionEngine;
    };

    explicit AppState(Collaborators collaborators, QObject* parent = nullptr);

    ModelContext& modelContext() { return modelContext_; }

    // Meetings in batch transcription.
    const QSet<QUuid>& transcribingMeetingIDs() const { return transcribingMeetingIDs_; }

    // The first meeting with that id; a failed fetch gives none.
    std::shared_ptr<Meeting> fetchMeeting(const QUuid& id) const;

    // Transcribes the microphone's file and then the system's, and stores the result. A failure is a log line; the
    // meeting stays as it is. Several meetings may be under way. When this object goes first, nothing is stored.
    QCoro::Task<> transcribeMeeting(QUuid meetingID, std::filesystem::path micFile,
                                    std::optional<std::filesystem::path> systemFile);

    // Replaces the meeting's speakers and segments and saves, ignoring a failure; a meeting that is gone is skipped.
    // `systemSegments`: none for a recording of the microphone alone, empty for a system stream in which nobody spoke.
    void applyTranscription(const QUuid& meetingID, const std::vector<Output::Segment>& micSegments,
                            const std::optional<std::vector<Output::Segment>>& systemSegments);

    // The language model's run over a meeting. Called from the event loop after a transcription was applied, when the
    // setting `aiEnabled` is on; none: nothing runs.
    std::function<void(const QUuid& meetingID)> runAI;

    // Recognises a voice among those of other meetings; matchVoice unless replaced.
    using VoiceMatcher = std::function<std::optional<SpeakerReidentifier::Match>(
        const Speaker::Embedding& embedding, const QUuid& excludingMeetingID, const ModelContext& context)>;
    VoiceMatcher voiceMatcher;

Q_SIGNALS:
    void transcribingMeetingIDsChanged();

private:
    void setTranscribing(const QUuid& meetingID, bool isTranscribing);
    void startAI(const QUuid& meetingID);

    ModelContext& modelContext_;
    Settings& settings_;
    TranscriptionEngine& transcriptionEngine_;
    QSet<QUuid> transcribingMeetingIDs_;
};

} // namespace Varnel
