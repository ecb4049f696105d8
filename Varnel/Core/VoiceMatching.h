#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Refinement/SpeakerReidentifier.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace Varnel {

// The least cosine similarity of two voices of one person.
inline constexpr float reidThreshold = 0.65F;

// The stored voice, of another meeting than `excludingMeetingID`, that `embedding` belongs to; none when no stored
// voice is close enough. The one place where new speakers are compared with known ones. `embeddingModelDigest`: the
// network that measured `embedding`; see EmbeddingNetwork.
std::optional<SpeakerReidentifier::Match> matchVoice(const Speaker::Embedding& embedding,
                                                     const QUuid& excludingMeetingID, const ModelContext& context,
                                                     const std::optional<QString>& embeddingModelDigest);

} // namespace Varnel
