#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Refinement/TranscriptOutput.h"

#include <QString>
#include <QUuid>

#include <optional>
#include <vector>

namespace Varnel::SpeakerReidentifier {

// A stored voice that a new one was recognised as.
struct Match {
    QString name;
    QString colorHex;
    bool isYou = false;
    float similarity = 0; // cosine, -1 to 1

    bool operator==(const Match&) const = default;
};

// The stored voice closest to `embedding`, when its cosine similarity is at least `threshold`; of equally close ones
// the first in the order of insertion. The speakers of the meeting `excludingMeetingID` are no candidates, nor are
// voices of another length, nor, where `embeddingModelDigest` names the network that measured `embedding`, voices
// that are known to be of another one.
//
// Logs "SpeakerReidentifier scores: " and the five highest scores of those compared, if any were. Never fails: a store
// that cannot be read holds no voices. One pass over all stored speakers; main context only.
std::optional<Match> findMatch(const std::vector<float>& embedding, const std::optional<QUuid>& excludingMeetingID,
                               const ModelContext& context, float threshold,
                               const std::optional<QString>& embeddingModelDigest = {});

// The mean, not normalised, of the embeddings of one speaker's segments; none when no segment of the speaker has one.
// The first embedding sets the dimension; those of another are left out.
std::optional<std::vector<float>> meanEmbedding(const QString& speakerKey,
                                                const std::vector<Output::Segment>& segments);

} // namespace Varnel::SpeakerReidentifier
