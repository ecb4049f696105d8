#include "Varnel/Core/AppState.h"

#include "Varnel/Core/VoiceMatching.h"

#include <exception>

namespace Varnel {

AppState::AppState(Collaborators collaborators, QObject* parent)
    : QObject(parent),
      voiceMatcher(matchVoice),
      modelContext_(collaborators.modelContext),
      settings_(collaborators.settings),
      transcriptionEngine_(collaborators.transcriptionEngine) {}

std::shared_ptr<Meeting> AppState::fetchMeeting(const QUuid& id) const {
    try {
        return modelContext_.meeting(id);
    } catch (const std::exception&) {
        return nullptr;
    }
}

} // namespace Varnel
