#pragma once

namespace VarnelSpeech {

// The chunked diarizer's settings.
struct DiarizerConfig {
    // Base of the speaker database's two thresholds: 1.2 times it for a known speaker, 0.8 times it for an update.
    float clusteringThreshold = 0.7F;
    // Seconds: the shortest segment, and the shortest speech that may found a speaker.
    float minSpeechDuration = 1.0F;
    // Seconds: the shortest speech that refreshes a known speaker's voice.
    float minEmbeddingUpdateDuration = 2.0F;
    float minSilenceGap = 0.5F; // seconds; carried, without effect in this pipeline
    int numClusters = -1;       // carried, without effect in this pipeline
    // Frames of a chunk: the least activity of a local speaker for a voice vector and for any segment.
    float minActiveFramesCount = 10.0F;
    bool debugMode = false;      // results carry the speaker database and the timings
    float chunkDuration = 10.0F; // seconds, rounded to a whole number
    float chunkOverlap = 0.0F;   // seconds, rounded to a whole number

    bool operator==(const DiarizerConfig&) const = default;

    // What the application uses.
    static const DiarizerConfig standard;
};

inline const DiarizerConfig DiarizerConfig::standard{};

} // namespace VarnelSpeech
