#include "Varnel/Core/VoiceMatching.h"

namespace Varnel {

std::optional<SpeakerReidentifier::Match> matchVoice(const Speaker::Embedding& /*embedding*/,
                                                     const QUuid& /*excludingMeetingID*/,
                                                     const ModelContext& /*context*/) {
    return std::nullopt;
}

} // namespace Varnel
