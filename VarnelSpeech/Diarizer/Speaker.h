#pragma once

#include "VarnelSpeech/Diarizer/Date.h"
#include "VarnelSpeech/Diarizer/RawEmbedding.h"
#include "VarnelSpeech/Diarizer/UUID.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace VarnelSpeech {

// The fields of a speaker, to build one from.
struct SpeakerFields {
    std::string id;
    std::string name;
    std::vector<float> currentEmbedding;
    float duration = 0; // seconds
    std::vector<RawEmbedding> rawEmbeddings;
    std::int64_t updateCount = 1;
    std::optional<Date> createdAt; // none: now
    std::optional<Date> updatedAt; // none: now
    bool isPermanent = false;
};

// A voice: its reference embedding and the observations it was made from. Shared by reference, equal by id.
//
// Threading: none of its own. A speaker in a SpeakerManager's database is changed only by that manager, under its
// write lock, and others hold it as const; while the manager may be working on another thread, only `id` may be read
// outside of the manager's callbacks. Everything else is read from a SendableSpeaker.
class Speaker {
public:
    static constexpr std::size_t maximumRawEmbeddings = 50;

    // A voice whose embedding has a sum of squares up to this is too faint to learn from.
    static constexpr float minimumSumOfSquares = 0.01F;

    // A fresh UUID as id when none is given, the id as name when none is given. `embedding` is normalised.
    explicit Speaker(std::span<const float> embedding, std::optional<std::string> id = {},
                     std::optional<std::string> name = {}, float duration = 0,
                     Date createdAt = std::chrono::system_clock::now());

    // From all fields; dates not given are `now`. The embedding is normalised, the history cut to its last 50.
    Speaker(SpeakerFields fields, Date now);

    const std::string& id() const { return id_; }

    const std::string& name() const { return name_; }

    // The reference: of unit length, 256 values in normal operation.
    const std::vector<float>& currentEmbedding() const { return currentEmbedding_; }

    float duration() const { return duration_; } // seconds attributed

    Date createdAt() const { return createdAt_; }

    Date updatedAt() const { return updatedAt_; }

    std::int64_t updateCount() const { return updateCount_; } // starts at 1

    // The history, oldest first, at most 50. (After a merge that had to leave some out: newest first.)
    const std::vector<RawEmbedding>& rawEmbeddings() const { return rawEmbeddings_; }

    bool isPermanent() const { return isPermanent_; }

    void setPermanent(bool isPermanent) { isPermanent_ = isPermanent; }

    // Speech that is attributed without a lesson for the reference.
    void addDuration(float seconds, Date now);

    // Learns from one more segment: the history takes it, and the reference becomes `alpha` of the history's mean and
    // the rest of the segment's embedding. Changes nothing for an embedding too faint.
    void updateMainEmbedding(std::span<const float> embedding, const UUID& segmentId, float seconds, Date now,
                             float alpha = 0.9F);

    // Adds to the history and recomputes the reference; ignored when the embedding is too faint. The oldest leaves a
    // full history.
    void addRawEmbedding(RawEmbedding raw, Date now);

    // Removes the first of that segment, recomputes the reference and returns the removed; none when there is none.
    std::optional<RawEmbedding> removeRawEmbedding(const UUID& segmentId, Date now);

    // The reference becomes the normalised mean of the history's embeddings, as far as these have the first one's
    // length. Nothing changes for an empty history or a first entry without values.
    void recalculateMainEmbedding(Date now);

    // Takes up the history, duration and update count of `other`. Of more than 50 observations the newest 50 stay.
    void mergeWith(const Speaker& other, const std::optional<std::string>& newName, Date now);

    // Takes up the given fields except for the id and createdAt. Permanence once given stays.
    void replaceFields(SpeakerFields fields, Date now);

    // By id.
    bool operator==(const Speaker& other) const { return id_ == other.id_; }

private:
    void blend(std::span<const float> unitEmbedding, float alpha);

    std::string id_; // never changes
    std::string name_;
    std::vector<float> currentEmbedding_;
    float duration_ = 0;
    Date createdAt_;
    Date updatedAt_;
    std::int64_t updateCount_ = 1;
    std::vector<RawEmbedding> rawEmbeddings_;
    bool isPermanent_ = false;
};

} // namespace VarnelSpeech

template <>
struct std::hash<VarnelSpeech::Speaker> {
    std::size_t operator()(const VarnelSpeech::Speaker& speaker) const {
        return std::hash<std::string>{}(speaker.id());
    }
};
