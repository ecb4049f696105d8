#include "VarnelSpeech/Diarizer/SpeakerManager.h"

#include <chrono>
#include <mutex>

namespace VarnelSpeech {

namespace {

// Now minus the interval; nobody is idle for longer than an interval that is no number or beyond all meetings.
Date dateBefore(Date now, std::chrono::duration<double> interval) {
    constexpr std::chrono::duration<double> limit(4e9); // 126 years; the clock's 64 bits hold twice that
    if (!(interval <= limit)) {
        return Date::min();
    }
    return interval < -limit ? Date::max() : now - std::chrono::duration_cast<Date::duration>(interval);
}

} // namespace

void SpeakerManager::markSpeakerAsPermanent(const std::string& id) {
    if (setPermanence(id, true)) {
        logger_.info("Marking speaker " + id + " as permanent.");
    } else {
        logger_.warning("Failed to mark speaker " + id + " as permanent (speaker not found).");
    }
}

void SpeakerManager::revokePermanence(const std::string& id) {
    if (setPermanence(id, false)) {
        logger_.info("Revoking permanence from speaker " + id);
    } else {
        logger_.warning("Failed to revoke permanence from speaker " + id + " (speaker not found).");
    }
}

bool SpeakerManager::setPermanence(const std::string& id, bool isPermanent) {
    const std::unique_lock lock(mutex_);
    Speaker* const speaker = speakerDatabase_.find(id);
    if (speaker) {
        speaker->setPermanent(isPermanent);
    }
    return speaker != nullptr;
}

void SpeakerManager::resetPermanentFlags() {
    const std::unique_lock lock(mutex_);
    for (const auto& [id, entry] : speakerDatabase_.speakers()) {
        entry.speaker->setPermanent(false);
    }
}

void SpeakerManager::removeSpeaker(const std::string& id, PermanentSpeakers permanent) {
    const std::unique_lock lock(mutex_);
    const Speaker* const speaker = speakerDatabase_.find(id);
    if (speaker && permanent == PermanentSpeakers::keep && speaker->isPermanent()) {
        logger_.warning("Failed to remove speaker: " + id + " (Speaker is permanent)");
    } else if (speakerDatabase_.remove(id)) {
        logger_.info("Removing speaker: " + id);
    } else {
        logger_.warning("Failed to remove speaker: " + id + " (Speaker not found)");
    }
}

void SpeakerManager::removeSpeakersInactive(Date cutOff, PermanentSpeakers permanent) {
    removeMatching([cutOff](const Speaker& speaker) { return speaker.updatedAt() < cutOff; }, "due to inactivity",
                   permanent);
}

void SpeakerManager::removeSpeakersInactive(std::chrono::duration<double> idle, PermanentSpeakers permanent) {
    removeSpeakersInactive(dateBefore(now_(), idle), permanent);
}

void SpeakerManager::removeSpeakers(const Predicate& predicate, PermanentSpeakers permanent) {
    removeMatching(predicate, "based on predicate", permanent);
}

void SpeakerManager::removeMatching(const Predicate& predicate, std::string_view reason, PermanentSpeakers permanent) {
    const std::unique_lock lock(mutex_);
    // All are asked before the first is removed, so that a predicate that throws changes nothing.
    std::vector<std::string> leaving;
    for (const auto& [id, entry] : speakerDatabase_.speakers()) {
        const bool isKept = permanent == PermanentSpeakers::keep && entry.speaker->isPermanent();
        if (!isKept && predicate(*entry.speaker)) {
            leaving.push_back(id);
        }
    }
    for (const std::string& id : leaving) {
        logger_.info("Removing speaker " + id + " " + std::string(reason));
        speakerDatabase_.remove(id);
    }
}

} // namespace VarnelSpeech
