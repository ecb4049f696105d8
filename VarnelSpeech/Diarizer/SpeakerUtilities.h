#pragma once

#include "VarnelSpeech/Diarizer/AssignmentConfig.h"
#include "VarnelSpeech/Diarizer/AssignmentDecision.h"
#include "VarnelSpeech/Diarizer/Date.h"
#include "VarnelSpeech/Diarizer/RawEmbedding.h"
#include "VarnelSpeech/Diarizer/Speaker.h"
#include "VarnelSpeech/Diarizer/SpeakerCreationResult.h"
#include "VarnelSpeech/Diarizer/SpeakerUpdateResult.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

// The stateless rules about voices. Every function may be called from any thread; none throws for bad input, which is
// logged (category "SpeakerUtilities").
namespace VarnelSpeech::SpeakerUtilities {

inline constexpr float minimumMagnitude = 0.1F; // below it an embedding says nothing

// 1 minus the cosine of the angle: 0 (same direction) to 2 (opposite), whatever the lengths of the vectors. +infinity
// for vectors without elements, of different sizes, or of length zero (or NaN).
float cosineDistance(std::span<const float> a, std::span<const float> b);

// The cosine distance that belongs to a cosine; rounding may have put that outside of -1 to 1.
float distanceOfSimilarity(float similarity);

// Whether an embedding is worth using: not empty, longer than `minimum`, all values finite.
bool validateEmbedding(std::span<const float> embedding, float minimum = minimumMagnitude);

// Whether a segment of `duration` seconds at `distance` belongs to a speaker.
AssignmentDecision shouldAssign(float distance, float duration, const AssignmentConfig& config = {});

// The first of the nearest; null and +infinity when nobody is at a finite distance. Null entries are passed over.
std::pair<std::shared_ptr<Speaker>, float> findClosest(std::span<const float> embedding,
                                                       const std::vector<std::shared_ptr<Speaker>>& speakers);

// The name defaults to "Speaker " and the id; both dates are now.
SpeakerCreationResult createSpeakerParams(const std::string& id, const std::optional<std::string>& name, float duration,
                                          std::span<const float> embedding, float minSpeechDuration,
                                          Date now = std::chrono::system_clock::now());

// Null when createSpeakerParams refuses.
std::shared_ptr<Speaker> makeSpeaker(const std::string& id, const std::optional<std::string>& name, float duration,
                                     std::span<const float> embedding, float minSpeechDuration,
                                     Date now = std::chrono::system_clock::now());

// `alpha` of `current` and the rest of `update`, all of unit length; none for embeddings that do not fit or are
// invalid.
std::optional<std::vector<float>> updatedEmbedding(std::span<const float> current, std::span<const float> update,
                                                   float alpha = 0.9F);

struct RawEmbeddingsUpdate {
    std::vector<RawEmbedding> rawEmbeddings;
    bool shouldRecalculate = false; // more than two entries
};

// Appends the new embedding; its first entry leaves a list of `maximum` entries. An invalid embedding changes nothing.
RawEmbeddingsUpdate updatedRawEmbeddings(std::vector<RawEmbedding> list, std::span<const float> embedding,
                                         const UUID& segmentId, Date timestamp,
                                         std::size_t maximum = Speaker::maximumRawEmbeddings);

// The normalised mean of those with the first one's length; none for an empty list or an empty first vector.
std::optional<std::vector<float>> averageEmbeddings(const std::vector<std::vector<float>>& embeddings);
std::optional<std::vector<float>> averageEmbeddings(const std::vector<RawEmbedding>& rawEmbeddings);

struct SpeakerUpdate {
    std::vector<float> currentEmbedding;
    std::vector<RawEmbedding> rawEmbeddings;
    float currentDuration = 0; // seconds, before the segment
    std::vector<float> newEmbedding;
    UUID segmentId;
    Date timestamp;
    float segmentDuration = 0;            // seconds
    float minEmbeddingUpdateDuration = 0; // a shorter segment changes nothing
    float alpha = 0.9F;
};

SpeakerUpdateResult updateSpeaker(SpeakerUpdate update);

struct MergedSpeakerData {
    std::optional<std::vector<float>> averageEmbedding; // none: no observations
    std::vector<RawEmbedding> rawEmbeddings;
    float duration = 0;
};

// Both histories one after the other; of more than `maximum` entries the newest, newest first.
MergedSpeakerData mergedSpeakerData(const std::vector<RawEmbedding>& first, const std::vector<RawEmbedding>& second,
                                    float firstDuration, float secondDuration,
                                    std::size_t maximum = Speaker::maximumRawEmbeddings);

// Durations in seconds.
void logGlobalStats(std::size_t speakerCount, float totalDuration, float averageConfidence,
                    std::size_t speakersWithHistory);

} // namespace VarnelSpeech::SpeakerUtilities
