#include "Varnel/Core/VoiceMatching.h"

namespace Varnel {

std::optional<SpeakerReidentifier::Match> matchVoice(const Speaker::Embedding& embedding,
                                                     const QUuid& excludingMeetingID, const ModelContext& context,
                                                     const std::optional<QString>& embeddingModelDigest) {
    return SpeakerReidentifier::findMatch(embedding, excludingMeetingID, context, reidThreshold, embeddingModelDigest);
}

} // namespace Varnel
