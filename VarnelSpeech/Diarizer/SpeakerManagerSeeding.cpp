#include "VarnelSpeech/Diarizer/SpeakerManager.h"
#include "VarnelSpeech/Diarizer/SpeakerNumber.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <utility>

namespace VarnelSpeech {

namespace {

std::int64_t numberAfter(std::int64_t number) {
    return number == std::numeric_limits<std::int64_t>::max() ? number : number + 1;
}

} // namespace

void SpeakerManager::initializeKnownSpeakers(const std::vector<std::shared_ptr<Speaker>>& speakers,
                                             SpeakerInitializationMode mode, PermanentSpeakers permanent) {
    if (mode == SpeakerInitializationMode::reset) {
        reset(permanent);
    }
    const std::unique_lock lock(mutex_);
    for (const auto& given : speakers) {
        if (given) {
            initialize(given, mode, permanent);
        }
    }
    // All given speakers but those of a wrong size are in the database now.
    numberFromLargest();
    logger_.info("Initialized with " + std::to_string(speakerDatabase_.size()) +
                 " known speakers, next ID will be: " + std::to_string(nextSpeakerId_));
}

void SpeakerManager::initialize(const std::shared_ptr<Speaker>& given, SpeakerInitializationMode mode,
                                PermanentSpeakers permanent) {
    const std::string& id = given->id();
    if (given->currentEmbedding().size() != embeddingSize) {
        logger_.warning("Skipping speaker " + id +
                        " - invalid embedding size: " + std::to_string(given->currentEmbedding().size()));
        return;
    }
    if (!speakerDatabase_.find(id)) {
        speakerDatabase_.put(given);
        logger_.info("Initialized known speaker: " + id);
        return;
    }
    switch (mode) {
    case SpeakerInitializationMode::overwrite:
        overwrite(given, permanent);
        break;
    case SpeakerInitializationMode::merge:
        mergeGiven(*given, permanent);
        break;
    case SpeakerInitializationMode::reset: // it survived the reset
    case SpeakerInitializationMode::skip:
        logger_.info("Speaker " + id + " is already initialized. Skipping new speaker.");
        break;
    }
}

void SpeakerManager::overwrite(const std::shared_ptr<Speaker>& given, PermanentSpeakers permanent) {
    const std::string& id = given->id();
    if (permanent == PermanentSpeakers::keep && speakerDatabase_.find(id)->isPermanent()) {
        logger_.warning("Failed to overwrite Speaker " + id + " because it is permanent. Skipping");
        return;
    }
    logger_.info("Speaker " + id + " is already initialized. Overwriting old speaker.");
    speakerDatabase_.put(given);
}

void SpeakerManager::mergeGiven(const Speaker& given, PermanentSpeakers permanent) {
    const std::string& id = given.id();
    Speaker* const existing = speakerDatabase_.find(id);
    if (permanent == PermanentSpeakers::keep && existing->isPermanent()) {
        logger_.warning("Failed to merge Speaker " + id + " because the existing speaker is permanent. Skipping");
        return;
    }
    logger_.info("Speaker " + id + " is already initialized. Merging with old speaker.");
    if (existing != &given) { // the same object has nothing to add to itself
        existing->mergeWith(given, std::nullopt, now_());
        speakerDatabase_.referenceChanged(id);
    }
}

void SpeakerManager::upsertSpeaker(const Speaker& speaker) {
    upsertSpeaker(SpeakerFields{speaker.id(), speaker.name(), speaker.currentEmbedding(), speaker.duration(),
                                speaker.rawEmbeddings(), speaker.updateCount(), speaker.createdAt(),
                                speaker.updatedAt(), speaker.isPermanent()});
}

void SpeakerManager::upsertSpeaker(SpeakerFields fields) {
    const std::string id = fields.id;
    const std::unique_lock lock(mutex_);
    const Date now = now_();
    if (Speaker* const existing = speakerDatabase_.find(id)) {
        existing->replaceFields(std::move(fields), now);
        speakerDatabase_.referenceChanged(id);
        logger_.info("Updated existing speaker: " + id);
        return;
    }
    speakerDatabase_.put(std::make_shared<Speaker>(std::move(fields), now));
    if (const auto number = speakerNumber(id)) {
        highestSpeakerId_ = std::max(*number, highestSpeakerId_);
        nextSpeakerId_ = std::max(numberAfter(*number), nextSpeakerId_);
    }
    logger_.info("Inserted new speaker: " + id);
}

void SpeakerManager::reset(PermanentSpeakers permanent) {
    const std::unique_lock lock(mutex_);
    emptyDatabase(permanent);
    numberFromLargest();
    logger_.info("Speaker database reset");
}

void SpeakerManager::emptyDatabase(PermanentSpeakers permanent) {
    if (permanent == PermanentSpeakers::treatAlike) {
        speakerDatabase_.clear();
        return;
    }
    std::vector<std::string> leaving;
    for (const auto& [id, entry] : speakerDatabase_.speakers()) {
        if (!entry.speaker->isPermanent()) {
            leaving.push_back(id);
        }
    }
    for (const std::string& id : leaving) {
        speakerDatabase_.remove(id);
    }
}

void SpeakerManager::numberFromLargest() {
    highestSpeakerId_ = 0;
    for (const auto& [id, entry] : speakerDatabase_.speakers()) {
        highestSpeakerId_ = std::max(highestSpeakerId_, speakerNumber(id).value_or(0));
    }
    nextSpeakerId_ = numberAfter(highestSpeakerId_);
}

} // namespace VarnelSpeech
