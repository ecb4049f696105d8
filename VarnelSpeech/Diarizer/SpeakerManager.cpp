#include "VarnelSpeech/Diarizer/SpeakerManager.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace VarnelSpeech {

SpeakerManager::SpeakerManager(float speakerThreshold, float embeddingThreshold, float minSpeechDuration,
                               float minEmbeddingUpdateDuration, DateSource now)
    : logger_("SpeakerManager"),
      now_(std::move(now)),
      speakerThreshold_(speakerThreshold),
      embeddingThreshold_(embeddingThreshold),
      minSpeechDuration_(minSpeechDuration),
      minEmbeddingUpdateDuration_(minEmbeddingUpdateDuration) {}

std::shared_ptr<const Speaker> SpeakerManager::getSpeaker(const std::string& id) const {
    const std::shared_lock lock(mutex_);
    return speakerDatabase_.shared(id);
}

std::size_t SpeakerManager::speakerCount() const {
    const std::shared_lock lock(mutex_);
    return speakerDatabase_.size();
}

std::vector<std::string> SpeakerManager::speakerIds() const {
    return findSpeakers([](const Speaker&) { return true; });
}

std::vector<std::string> SpeakerManager::permanentSpeakerIds() const {
    return findSpeakers([](const Speaker& speaker) { return speaker.isPermanent(); });
}

std::vector<std::shared_ptr<const Speaker>> SpeakerManager::speakerList() const {
    const std::shared_lock lock(mutex_);
    std::vector<std::shared_ptr<const Speaker>> list;
    list.reserve(speakerDatabase_.size());
    for (const auto& [id, entry] : speakerDatabase_.speakers()) {
        list.push_back(entry.speaker);
    }
    return list;
}

std::vector<SendableSpeaker> SpeakerManager::sendableSpeakers() const {
    std::vector<SendableSpeaker> snapshots;
    forEachSpeaker([&snapshots](const Speaker& speaker) { snapshots.emplace_back(speaker); });
    return snapshots;
}

std::optional<SendableSpeaker> SpeakerManager::sendableSpeaker(const std::string& id) const {
    const std::shared_lock lock(mutex_);
    const Speaker* const speaker = speakerDatabase_.find(id);
    return speaker ? std::optional<SendableSpeaker>(*speaker) : std::nullopt;
}

void SpeakerManager::forEachSpeaker(const std::function<void(const Speaker&)>& visit) const {
    const std::shared_lock lock(mutex_);
    for (const auto& [id, entry] : speakerDatabase_.speakers()) {
        visit(*entry.speaker);
    }
}

std::int64_t SpeakerManager::nextSpeakerId() const {
    const std::shared_lock lock(mutex_);
    return nextSpeakerId_;
}

std::int64_t SpeakerManager::highestSpeakerId() const {
    const std::shared_lock lock(mutex_);
    return highestSpeakerId_;
}

} // namespace VarnelSpeech
