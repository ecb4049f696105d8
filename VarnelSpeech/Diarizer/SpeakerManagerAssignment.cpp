#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/FloatText.h"
#include "VarnelSpeech/Diarizer/SpeakerManager.h"

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>

namespace VarnelSpeech {

std::shared_ptr<const Speaker> SpeakerManager::assignSpeaker(std::span<const float> embedding, float speechDuration,
                                                             std::optional<float> threshold) {
    if (embedding.size() != embeddingSize) {
        logger_.error("Invalid embedding size: " + std::to_string(embedding.size()));
        return nullptr;
    }
    alignas(64) std::array<float, embeddingSize> unit;
    l2Normalize(embedding, unit);
    const float limit = threshold.value_or(speakerThreshold());

    std::shared_ptr<Speaker> created;
    float distance = 0;
    {
        const std::unique_lock lock(mutex_);
        const auto nearest = speakerDatabase_.closest(unit);
        if (nearest.entry && nearest.distance < limit) {
            update(*nearest.entry->second.speaker, unit, speechDuration, nearest.distance);
            return nearest.entry->second.speaker;
        }
        distance = nearest.distance;
        if (!(minSpeechDuration() > speechDuration)) {
            created = createSpeaker(unit, speechDuration);
        }
    }
    if (!created) {
        logger_.debug("Audio segment too short (" + floatText(speechDuration) + "s) to create new speaker");
        return nullptr;
    }
    logger_.info("Created new speaker " + created->id() + " (distance to closest: " + floatText(distance) + ")");
    return created;
}

void SpeakerManager::updateExistingSpeaker(const std::string& id, std::span<const float> embedding, float duration,
                                           float distance) {
    {
        const std::unique_lock lock(mutex_);
        if (Speaker* const speaker = speakerDatabase_.find(id)) {
            update(*speaker, embedding, duration, distance);
            return;
        }
    }
    logger_.error("Speaker " + id + " not found in database");
}

void SpeakerManager::update(Speaker& speaker, std::span<const float> embedding, float seconds, float distance) {
    const Date now = now_();
    if (embeddingThreshold() > distance) {
        speaker.updateMainEmbedding(embedding, UUID::fresh(), seconds, now);
        speakerDatabase_.referenceChanged(speaker.id());
    } else {
        speaker.addDuration(seconds, now);
    }
}

std::shared_ptr<Speaker> SpeakerManager::createSpeaker(std::span<const float> embedding, float seconds) {
    const Date now = now_();
    const std::vector<float> unit = l2Normalized(embedding);
    const std::string id = takeSpeakerId();
    auto speaker = std::make_shared<Speaker>(unit, id, "Speaker " + id, seconds, now);
    speaker->addRawEmbedding(RawEmbedding(UUID::fresh(), unit, now), now);
    speakerDatabase_.put(speaker);
    return speaker;
}

std::string SpeakerManager::takeSpeakerId() {
    // Somebody seeded the largest number there is: none is left, and none may be given twice.
    if (nextSpeakerId_ == std::numeric_limits<std::int64_t>::max()) {
        return UUID::fresh().text();
    }
    highestSpeakerId_ = std::max(highestSpeakerId_, nextSpeakerId_);
    return std::to_string(nextSpeakerId_++);
}

} // namespace VarnelSpeech
