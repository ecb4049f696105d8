#include "VarnelSpeech/Diarizer/ChunkPlan.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

namespace VarnelSpeech {

namespace {

constexpr std::int64_t longestSeconds = 3600;

std::int64_t wholeSeconds(const char* name, float seconds) {
    const float rounded = std::round(seconds);
    if (!(std::abs(rounded) <= static_cast<float>(longestSeconds)))
        throw DiarizerError::processingFailed(
            fmt::format("{} of {} seconds is not within {} seconds", name, seconds, longestSeconds));
    return static_cast<std::int64_t>(rounded);
}

} // namespace

ChunkPlan ChunkPlan::make(const DiarizerConfig& config, int sampleRate) {
    if (sampleRate <= 0)
        throw DiarizerError::processingFailed(fmt::format("a sample rate of {} Hz", sampleRate));
    const std::int64_t chunkSize = sampleRate * wholeSeconds("chunkDuration", config.chunkDuration);
    const std::int64_t overlap = sampleRate * wholeSeconds("chunkOverlap", config.chunkOverlap);
    if (chunkSize < 0 || chunkSize - overlap <= 0)
        throw DiarizerError::processingFailed(fmt::format("chunks of {} s that overlap by {} s do not advance",
                                                          config.chunkDuration, config.chunkOverlap));
    return {static_cast<std::size_t>(chunkSize), static_cast<std::size_t>(chunkSize - overlap)};
}

} // namespace VarnelSpeech
