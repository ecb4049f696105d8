#pragma once

#include "VarnelSpeech/Diarizer/Date.h"
#include "VarnelSpeech/Diarizer/PermanentSpeakers.h"
#include "VarnelSpeech/Diarizer/SendableSpeaker.h"
#include "VarnelSpeech/Diarizer/Speaker.h"
#include "VarnelSpeech/Diarizer/SpeakerDatabase.h"
#include "VarnelSpeech/Diarizer/SpeakerInitializationMode.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VarnelSpeech {

// The registry of the voices heard so far: gives every incoming embedding the identity of the nearest known speaker,
// or of a new one, or none when the speech is too short to trust.
//
// Threading: every operation may be called from any thread. Reads run together, changes run alone. Callbacks run under
// the lock and must not call the manager. No operation throws for bad input (only what a callback throws, and
// std::bad_alloc): it is logged and yields none, no change, or a distance of +infinity.
//
// Order: wherever the database is walked, and wherever ids are sorted, ids are ordered as text ("1", "10", "2").
class SpeakerManager {
public:
    static constexpr std::size_t embeddingSize = SpeakerDatabase::embeddingSize; // 256

    struct Match {
        std::optional<std::string> id; // none: no speaker near enough
        float distance;                // +infinity then
    };

    using Predicate = std::function<bool(const Speaker&)>;

    // Thresholds are cosine distances (0 to 2): below `speakerThreshold` an embedding belongs to a speaker, below
    // `embeddingThreshold` the speaker learns from it. Durations are seconds of speech.
    explicit SpeakerManager(float speakerThreshold, float embeddingThreshold, float minSpeechDuration,
                            float minEmbeddingUpdateDuration, DateSource now = std::chrono::system_clock::now);
    SpeakerManager(const SpeakerManager&) = delete;
    SpeakerManager& operator=(const SpeakerManager&) = delete;

    // Assignment

    // The nearest speaker when strictly nearer than `threshold` (speakerThreshold when not given), which learns from
    // the embedding; else a new speaker; else, when `speechDuration` is below minSpeechDuration, null.
    std::shared_ptr<const Speaker> assignSpeaker(std::span<const float> embedding, float speechDuration,
                                                 std::optional<float> threshold = {});

    // What a match does to the speaker: attributes the duration (seconds) and, when `distance` is strictly below
    // embeddingThreshold, learns from the embedding. Does nothing for an unknown id.
    void updateExistingSpeaker(const std::string& id, std::span<const float> embedding, float duration, float distance);

    // Search

    // The nearest speaker at a distance of at most `threshold` (speakerThreshold when not given).
    Match findSpeaker(std::span<const float> embedding, std::optional<float> threshold = {}) const;

    // Everyone at a distance of at most `threshold`, nearest first.
    std::vector<std::pair<std::string, float>> findMatchingSpeakers(std::span<const float> embedding,
                                                                    std::optional<float> threshold = {}) const;

    // Ids of the speakers that satisfy the predicate, sorted.
    std::vector<std::string> findSpeakers(const Predicate& predicate) const;

    // Seeding

    // Takes the speakers over: from here on the caller must not change them. Those whose embedding is not of 256
    // values are left out. New speakers are numbered on from the largest decimal id given or already present.
    void initializeKnownSpeakers(const std::vector<std::shared_ptr<Speaker>>& speakers,
                                 SpeakerInitializationMode mode = SpeakerInitializationMode::skip,
                                 PermanentSpeakers permanent = PermanentSpeakers::keep);

    // Replaces the fields of the speaker with that id (not createdAt; permanence stays), or inserts a copy.
    void upsertSpeaker(const Speaker& speaker);
    void upsertSpeaker(SpeakerFields fields);

    // Removes everyone, or all but the permanent ones, and numbers on from the largest decimal id left.
    void reset(PermanentSpeakers permanent = PermanentSpeakers::treatAlike);

    // Upkeep

    void markSpeakerAsPermanent(const std::string& id);
    void revokePermanence(const std::string& id);
    void resetPermanentFlags();
    void removeSpeaker(const std::string& id, PermanentSpeakers permanent);
    void removeSpeakersInactive(Date cutOff, PermanentSpeakers permanent);
    void removeSpeakersInactive(std::chrono::duration<double> idle, PermanentSpeakers permanent);
    void removeSpeakers(const Predicate& predicate, PermanentSpeakers permanent);

    // Merging

    // Merges `from` into `to` and removes it. Nothing happens when either is absent, when both are the same, or when
    // `from` is permanent and those are kept.
    void mergeSpeaker(const std::string& from, const std::string& to, const std::optional<std::string>& newName,
                      PermanentSpeakers permanent);

    // Pairs strictly nearer than `threshold` (speakerThreshold when not given): first who is to be merged, then into
    // whom. A permanent speaker comes first only when both are permanent.
    std::vector<std::pair<std::string, std::string>> findMergeablePairs(std::optional<float> threshold,
                                                                        PermanentPairs permanentPairs) const;

    // Moves one observation from a speaker to another; false when a speaker or the observation is not there.
    bool reassignSegment(const UUID& segmentId, const std::string& from, const std::string& to);

    // Reading

    std::shared_ptr<const Speaker> getSpeaker(const std::string& id) const; // null: unknown
    std::size_t speakerCount() const;
    std::vector<std::string> speakerIds() const;          // sorted
    std::vector<std::string> permanentSpeakerIds() const; // sorted
    std::vector<std::shared_ptr<const Speaker>> speakerList() const;
    std::vector<SendableSpeaker> sendableSpeakers() const; // in the order of speakerList()
    std::optional<SendableSpeaker> sendableSpeaker(const std::string& id) const;

    // Visits every speaker, sorted by id, within one read.
    void forEachSpeaker(const std::function<void(const Speaker&)>& visit) const;

    std::int64_t nextSpeakerId() const;
    std::int64_t highestSpeakerId() const;

    float speakerThreshold() const { return speakerThreshold_; }

    float embeddingThreshold() const { return embeddingThreshold_; }

    float minSpeechDuration() const { return minSpeechDuration_; }

    // Kept for callers; assignment does not look at it.
    float minEmbeddingUpdateDuration() const { return minEmbeddingUpdateDuration_; }

    void setSpeakerThreshold(float distance) { speakerThreshold_ = distance; }

    void setEmbeddingThreshold(float distance) { embeddingThreshold_ = distance; }

    void setMinSpeechDuration(float seconds) { minSpeechDuration_ = seconds; }

    void setMinEmbeddingUpdateDuration(float seconds) { minEmbeddingUpdateDuration_ = seconds; }

private:
    // All of these are called under the write lock.
    std::shared_ptr<Speaker> createSpeaker(std::span<const float> embedding, float seconds);
    void update(Speaker& speaker, std::span<const float> embedding, float seconds, float distance);
    void initialize(const std::shared_ptr<Speaker>& given, SpeakerInitializationMode mode, PermanentSpeakers permanent);
    void mergeGiven(const Speaker& given, PermanentSpeakers permanent);
    void overwrite(const std::shared_ptr<Speaker>& given, PermanentSpeakers permanent);
    bool setPermanence(const std::string& id, bool isPermanent);
    void removeMatching(const Predicate& predicate, std::string_view reason, PermanentSpeakers permanent);
    void emptyDatabase(PermanentSpeakers permanent);
    std::string takeSpeakerId();
    void numberFromLargest();

    const AppLogger logger_;
    const DateSource now_;
    std::atomic<float> speakerThreshold_;
    std::atomic<float> embeddingThreshold_;
    std::atomic<float> minSpeechDuration_;
    std::atomic<float> minEmbeddingUpdateDuration_;

    mutable std::shared_mutex mutex_; // guards all below, and every speaker in the database
    SpeakerDatabase speakerDatabase_;
    std::int64_t nextSpeakerId_ = 1;
    std::int64_t highestSpeakerId_ = 0;
};

} // namespace VarnelSpeech
