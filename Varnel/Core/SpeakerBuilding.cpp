#include "Varnel/Core/SpeakerBuilding.h"

#include "Varnel/Models/SpeakerColors.h"

#include <utility>

namespace Varnel {

SpeakerBuilding::SpeakersByKey SpeakerBuilding::build(const std::vector<Output::Segment>& segments,
                                                      const Matched& matched) const {
    SpeakersByKey speakers; // ordered by key: the order fixes the numbering
    for (const auto& segment : segments)
        speakers.try_emplace(segment.speakerKey);
    std::size_t index = 0;
    for (auto& [key, speaker] : speakers) {
        auto embedding = SpeakerReidentifier::meanEmbedding(key, segments);
        SpeakerReidentifier::Match identity{QStringLiteral("Speaker %1").arg(index + 1), speakerColor(index), false, 0};
        if (embedding && matcher_) {
            if (auto match = matcher_(*embedding)) {
                identity = std::move(*match);
                if (matched)
                    matched(identity);
            }
        }
        speaker = insert(std::make_shared<Speaker>(QUuid::createUuid(), identity.name, identity.colorHex,
                                                   identity.isYou, std::move(embedding)));
        ++index;
    }
    return speakers;
}

std::shared_ptr<Speaker> SpeakerBuilding::buildYou(std::optional<Speaker::Embedding> embedding) const {
    return insert(std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("You"), QLatin1String(yourColor), true,
                                            std::move(embedding)));
}

std::shared_ptr<Speaker> SpeakerBuilding::insert(std::shared_ptr<Speaker> speaker) const {
    if (speaker->embedding())
        speaker->setEmbeddingModelDigest(embeddingModelDigest_);
    context_.insert(speaker);
    speaker->setMeeting(meeting_);
    return speaker;
}

std::shared_ptr<TranscriptSegment> insertSegment(ModelContext& context, const std::shared_ptr<Meeting>& meeting,
                                                 const Output::Segment& segment, std::shared_ptr<Speaker> speaker) {
    const QString text = segment.text.trimmed();
    if (text.isEmpty())
        return nullptr;
    auto line = std::make_shared<TranscriptSegment>(QUuid::createUuid(), segment.startTime, segment.endTime, text,
                                                    std::move(speaker));
    context.insert(line);
    line->setMeeting(meeting);
    return line;
}

} // namespace Varnel
