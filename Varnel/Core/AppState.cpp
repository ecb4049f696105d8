#include "Varnel/Core/AppState.h"

#include <exception>
#include <utility>

namespace Varnel {

AppState::AppState(Collaborators collaborators, QObject* parent)
    : QObject(parent),
      modelContext_(collaborators.modelContext),
      settings_(collaborators.settings),
      transcriptionEngine_(collaborators.transcriptionEngine),
      embeddingNetwork_(std::move(collaborators.embeddingNetwork)),
      recordingsFolder_(std::move(collaborators.recordingsFolder)),
      clock_(collaborators.clock),
      fileChooser_(collaborators.fileChooser),
      waveforms_(collaborators.waveforms),
      httpClient_(collaborators.httpClient) {}

// Coroutines that wait go on with an error and unwind.
AppState::~AppState() {
    assistantStop_.request_stop();
    room_.close();
}

std::shared_ptr<Meeting> AppState::fetchMeeting(const QUuid& id) const {
    try {
        return modelContext_.meeting(id);
    } catch (const std::exception&) {
        return nullptr;
    }
}

void AppState::setSelectedMeetingIDs(const QSet<QUuid>& ids) {
    if (ids == selectedMeetingIDs_)
        return;
    selectedMeetingIDs_ = ids;
    Q_EMIT selectedMeetingIDsChanged();
}

void AppState::selectMeeting(const std::optional<QUuid>& id) {
    setSelectedMeetingIDs(id ? QSet<QUuid>{*id} : QSet<QUuid>());
}

std::optional<QUuid> AppState::selectedMeetingID() const {
    return selectedMeetingIDs_.size() == 1 ? std::optional(*selectedMeetingIDs_.cbegin()) : std::nullopt;
}

void AppState::saveIgnoringFailure() {
    try {
        modelContext_.save();
    } catch (const std::exception&) { // stays pending until the next save
    }
}

} // namespace Varnel
