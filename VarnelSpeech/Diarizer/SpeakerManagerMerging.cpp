#include "VarnelSpeech/Diarizer/SpeakerManager.h"
#include "VarnelSpeech/Diarizer/SpeakerUtilities.h"

#include <mutex>
#include <utility>

namespace VarnelSpeech {

void SpeakerManager::mergeSpeaker(const std::string& from, const std::string& to,
                                  const std::optional<std::string>& newName, PermanentSpeakers permanent) {
    const std::unique_lock lock(mutex_);
    const Speaker* const source = speakerDatabase_.find(from);
    Speaker* const destination = speakerDatabase_.find(to);
    if (!source || !destination || source == destination) {
        return;
    }
    if (permanent == PermanentSpeakers::keep && source->isPermanent()) {
        return;
    }
    destination->mergeWith(*source, newName, now_());
    speakerDatabase_.referenceChanged(to);
    speakerDatabase_.remove(from);
}

std::vector<std::pair<std::string, std::string>>
SpeakerManager::findMergeablePairs(std::optional<float> threshold, PermanentPairs permanentPairs) const {
    const float limit = threshold.value_or(speakerThreshold());
    std::vector<std::pair<std::string, std::string>> pairs;
    const std::shared_lock lock(mutex_);
    const auto& speakers = speakerDatabase_.speakers();
    for (auto first = speakers.begin(); first != speakers.end(); ++first) {
        const Speaker& a = *first->second.speaker;
        for (auto second = std::next(first); second != speakers.end(); ++second) {
            const Speaker& b = *second->second.speaker;
            if (permanentPairs == PermanentPairs::exclude && a.isPermanent() && b.isPermanent()) {
                logger_.info("findMergeablePairs: Skipping ID " + a.id() + " and " + b.id() + " as both are permanent");
                continue;
            }
            if (!(SpeakerUtilities::cosineDistance(a.currentEmbedding(), b.currentEmbedding()) < limit)) {
                continue;
            }
            if (b.isPermanent()) {
                pairs.emplace_back(a.id(), b.id());
            } else {
                pairs.emplace_back(b.id(), a.id());
            }
        }
    }
    return pairs;
}

bool SpeakerManager::reassignSegment(const UUID& segmentId, const std::string& from, const std::string& to) {
    const std::unique_lock lock(mutex_);
    Speaker* const source = speakerDatabase_.find(from);
    Speaker* const destination = speakerDatabase_.find(to);
    if (!source || !destination) {
        logger_.warning("One or both speakers not found: from=" + from + ", to=" + to);
        return false;
    }
    const Date now = now_();
    auto moved = source->removeRawEmbedding(segmentId, now);
    if (!moved) {
        logger_.warning("Segment " + segmentId.text() + " not found in speaker " + from);
        return false;
    }
    destination->addRawEmbedding(std::move(*moved), now);
    speakerDatabase_.referenceChanged(from);
    speakerDatabase_.referenceChanged(to);
    logger_.info("✅ Reassigned segment " + segmentId.text() + " from " + from + " to " + to);
    return true;
}

} // namespace VarnelSpeech
