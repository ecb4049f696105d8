#include "VarnelSpeech/Diarizer/SpeakerManager.h"

#include <algorithm>
#include <limits>
#include <mutex>

namespace VarnelSpeech {

SpeakerManager::Match SpeakerManager::findSpeaker(std::span<const float> embedding,
                                                  std::optional<float> threshold) const {
    const std::shared_lock lock(mutex_);
    const auto nearest = speakerDatabase_.closest(embedding);
    if (nearest.entry && nearest.distance <= threshold.value_or(speakerThreshold())) {
        return {nearest.entry->first, nearest.distance};
    }
    return {std::nullopt, std::numeric_limits<float>::infinity()};
}

std::vector<std::pair<std::string, float>> SpeakerManager::findMatchingSpeakers(std::span<const float> embedding,
                                                                                std::optional<float> threshold) const {
    std::vector<std::pair<std::string, float>> matches;
    {
        const std::shared_lock lock(mutex_);
        speakerDatabase_.within(
            embedding, threshold.value_or(speakerThreshold()),
            [&matches](const auto& entry, float distance) { matches.emplace_back(entry.first, distance); });
    }
    std::sort(matches.begin(), matches.end(), [](const auto& a, const auto& b) {
        return a.second < b.second || (a.second == b.second && a.first < b.first);
    });
    return matches;
}

std::vector<std::string> SpeakerManager::findSpeakers(const Predicate& predicate) const {
    std::vector<std::string> ids;
    forEachSpeaker([&](const Speaker& speaker) {
        if (predicate(speaker)) {
            ids.push_back(speaker.id());
        }
    });
    return ids;
}

} // namespace VarnelSpeech
