#pragma once

#include "Varnel/Refinement/TranscriptOutput.h"

#include <QString>

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

// The mean, not normalised, of the embeddings of one speaker's segments; none when no segment of the speaker has one.
// The first embedding sets the dimension; those of another are left out.
std::optional<std::vector<float>> meanEmbedding(const QString& speakerKey,
                                                const std::vector<Output::Segment>& segments);

} // namespace Varnel::SpeakerReidentifier
