#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Refinement/SpeakerReidentifier.h"

#include <QUuid>

#include <optional>

namespace Varnel {

// The stored voice, of another meeting than `excludingMeetingID`, that `embedding` belongs to; none when no stored
// voice is close enough. The one place where new speakers are compared with known ones: voices are not compared yet,
// so it finds none.
std::optional<SpeakerReidentifier::Match> matchVoice(const Speaker::Embedding& embedding,
                                                     const QUuid& excludingMeetingID, const ModelContext& context);

} // namespace Varnel
