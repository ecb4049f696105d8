#include "VarnelSpeech/Diarizer/SpeakerUtilities.h"

#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/FloatText.h"
#include "VarnelSpeech/Diarizer/SpeakerUtilitiesLogger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace VarnelSpeech::SpeakerUtilities {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float certainDistance = 0.2F; // below it no configuration is asked

} // namespace

const AppLogger& logger() {
    static const AppLogger* const shared = new AppLogger("SpeakerUtilities"); // outlives static objects that log
    return *shared;
}

float cosineDistance(std::span<const float> a, std::span<const float> b) {
    if (a.empty() || b.empty() || a.size() != b.size()) {
        logger().error(fmt::format("Invalid embeddings: a.count={}, b.count={}", a.size(), b.size()));
        return infinity;
    }
    const float dot = dotProduct(a, b);
    const float sumA = sumOfSquares(a);
    const float sumB = sumOfSquares(b);
    if (!(sumA > 0.0F) || !(sumB > 0.0F)) {
        logger().warning("Zero magnitude embedding detected");
        return infinity;
    }
    if (isUnitSumOfSquares(sumA) && isUnitSumOfSquares(sumB)) {
        return distanceOfSimilarity(dot); // spares two roots and a division
    }
    const float rootA = std::sqrt(sumA);
    const float rootB = std::sqrt(sumB);
    if (rootA == 0.0F || rootB == 0.0F) {
        logger().warning("Zero magnitude after normalization guard");
        return infinity;
    }
    return distanceOfSimilarity(dot / (rootA * rootB));
}

float distanceOfSimilarity(float similarity) {
    return similarity <= -1.0F ? 2.0F : 1.0F - std::min(similarity, 1.0F);
}

bool validateEmbedding(std::span<const float> embedding, float minimum) {
    if (embedding.empty()) {
        logger().error("Empty embedding");
        return false;
    }
    const float norm = std::sqrt(sumOfSquares(embedding));
    if (!(norm > minimum)) { // NaN included
        logger().warning("Low magnitude embedding: " + floatText(norm));
        return false;
    }
    if (!std::all_of(embedding.begin(), embedding.end(), [](float value) { return std::isfinite(value); })) {
        logger().error("Embedding contains NaN or Inf");
        return false;
    }
    return true;
}

AssignmentDecision shouldAssign(float distance, float duration, const AssignmentConfig& config) {
    const float confidence = 1.0F - distance;
    const bool isKnownWell = config.minSpeakerDuration <= duration;
    if (distance < certainDistance) {
        return {true, isKnownWell, confidence, "Very high confidence match"};
    }
    if (distance < config.maxDistanceForAssignment && config.minSegmentDuration <= duration) {
        return {true, isKnownWell && distance <= config.maxDistanceForUpdate, confidence,
                "Sufficient confidence and duration"};
    }
    if (distance < config.maxDistanceForAssignment) {
        return {false, false, confidence, "Duration too short"};
    }
    return {false, false, confidence, "Distance too far"};
}

std::pair<std::shared_ptr<Speaker>, float> findClosest(std::span<const float> embedding,
                                                       const std::vector<std::shared_ptr<Speaker>>& speakers) {
    std::pair<std::shared_ptr<Speaker>, float> best{nullptr, infinity};
    for (const auto& speaker : speakers) {
        const float distance = speaker ? cosineDistance(embedding, speaker->currentEmbedding()) : infinity;
        if (distance < best.second) {
            best = {speaker, distance};
        }
    }
    return best;
}

void logGlobalStats(std::size_t speakerCount, float totalDuration, float averageConfidence,
                    std::size_t speakersWithHistory) {
    logger().info(fmt::format("Global stats - Speakers: {}, Duration: {:.1f}s, Avg confidence: {}, With history: {}",
                              speakerCount, totalDuration, floatText(averageConfidence), speakersWithHistory));
}

} // namespace VarnelSpeech::SpeakerUtilities
