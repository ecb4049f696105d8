#include "VarnelSpeech/Diarizer/SpeakerUtilities.h"

#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/FloatText.h"
#include "VarnelSpeech/Diarizer/SpeakerUtilitiesLogger.h"

#include <algorithm>

namespace VarnelSpeech::SpeakerUtilities {

namespace {

std::optional<std::vector<float>> averageOf(std::span<const std::span<const float>> vectors) {
    std::vector<float> mean;
    if (!normalizedMean(vectors, mean)) {
        return std::nullopt;
    }
    return mean;
}

} // namespace

SpeakerCreationResult createSpeakerParams(const std::string& id, const std::optional<std::string>& name, float duration,
                                          std::span<const float> embedding, float minSpeechDuration, Date now) {
    if (minSpeechDuration > duration) {
        return SpeakerCreationFailure{"Duration " + floatText(duration) + " < minimum " + floatText(minSpeechDuration)};
    }
    if (!validateEmbedding(embedding)) {
        return SpeakerCreationFailure{"Invalid embedding: failed quality checks"};
    }
    return SpeakerCreationParams{id, name.value_or("Speaker " + id), duration, l2Normalized(embedding), now, now};
}

std::shared_ptr<Speaker> makeSpeaker(const std::string& id, const std::optional<std::string>& name, float duration,
                                     std::span<const float> embedding, float minSpeechDuration, Date now) {
    auto created = createSpeakerParams(id, name, duration, embedding, minSpeechDuration, now);
    if (const auto* failure = std::get_if<SpeakerCreationFailure>(&created)) {
        logger().error("Failed to create speaker: " + failure->reason);
        return nullptr;
    }
    const auto& params = std::get<SpeakerCreationParams>(created);
    return std::make_shared<Speaker>(params.embedding, params.id, params.name, params.duration, params.createdAt);
}

std::optional<std::vector<float>> updatedEmbedding(std::span<const float> current, std::span<const float> update,
                                                   float alpha) {
    if (current.empty() || current.size() != update.size() || !validateEmbedding(update)) {
        logger().error("Invalid embeddings for update");
        return std::nullopt;
    }
    std::vector<float> combined = l2Normalized(current);
    const std::vector<float> unit = l2Normalized(update);
    for (std::size_t i = 0; i < combined.size(); ++i) {
        combined[i] = alpha * combined[i] + (1.0F - alpha) * unit[i];
    }
    l2Normalize(combined);
    return combined;
}

RawEmbeddingsUpdate updatedRawEmbeddings(std::vector<RawEmbedding> list, std::span<const float> embedding,
                                         const UUID& segmentId, Date timestamp, std::size_t maximum) {
    if (!validateEmbedding(embedding)) {
        logger().warning("Invalid embedding for segment " + segmentId.text());
        return {std::move(list), false};
    }
    if (list.size() >= maximum && !list.empty()) {
        list.erase(list.begin());
    }
    list.emplace_back(segmentId, l2Normalized(embedding), timestamp);
    const bool shouldRecalculate = list.size() > 2;
    return {std::move(list), shouldRecalculate};
}

std::optional<std::vector<float>> averageEmbeddings(const std::vector<std::vector<float>>& embeddings) {
    return averageOf(std::vector<std::span<const float>>(embeddings.begin(), embeddings.end()));
}

std::optional<std::vector<float>> averageEmbeddings(const std::vector<RawEmbedding>& rawEmbeddings) {
    std::vector<std::span<const float>> vectors;
    vectors.reserve(rawEmbeddings.size());
    for (const RawEmbedding& raw : rawEmbeddings) {
        vectors.emplace_back(raw.embedding);
    }
    return averageOf(vectors);
}

SpeakerUpdateResult updateSpeaker(SpeakerUpdate update) {
    if (update.minEmbeddingUpdateDuration > update.segmentDuration || !validateEmbedding(update.newEmbedding)) {
        return {std::nullopt, std::move(update.rawEmbeddings), update.currentDuration, false};
    }
    auto history =
        updatedRawEmbeddings(std::move(update.rawEmbeddings), update.newEmbedding, update.segmentId, update.timestamp);
    return {updatedEmbedding(update.currentEmbedding, update.newEmbedding, update.alpha),
            std::move(history.rawEmbeddings), update.currentDuration + update.segmentDuration,
            history.shouldRecalculate};
}

MergedSpeakerData mergedSpeakerData(const std::vector<RawEmbedding>& first, const std::vector<RawEmbedding>& second,
                                    float firstDuration, float secondDuration, std::size_t maximum) {
    MergedSpeakerData merged;
    merged.rawEmbeddings = mergedHistory(first, second, maximum);
    merged.averageEmbedding = averageEmbeddings(merged.rawEmbeddings);
    merged.duration = firstDuration + secondDuration;
    return merged;
}

} // namespace VarnelSpeech::SpeakerUtilities
