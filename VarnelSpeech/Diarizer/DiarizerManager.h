#pragma once

#include "VarnelSpeech/Diarizer/AudioValidation.h"
#include "VarnelSpeech/Diarizer/ChunkSegments.h"
#include "VarnelSpeech/Diarizer/DiarizationResult.h"
#include "VarnelSpeech/Diarizer/DiarizerConfig.h"
#include "VarnelSpeech/Diarizer/DiarizerModels.h"
#include "VarnelSpeech/Diarizer/EmbeddingExtractor.h"
#include "VarnelSpeech/Diarizer/SegmentationProcessor.h"
#include "VarnelSpeech/Diarizer/SpeakerManager.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

namespace VarnelSpeech {

// Finds who speaks when in a complete audio buffer. Walks it in chunks: who is active in each frame, a voice vector for
// each of the chunk's speakers, and their identity in a database that lives as long as the manager, so that a second
// call goes on with the speakers of the first; reset the database to treat a recording as new. Nothing is clustered,
// smoothed or merged afterwards.
//
// One thread at a time; only speakerManager() may be used beside a running call.
class DiarizerManager {
public:
    // The share of the audio that is done, after each chunk; on the calling thread. What it throws ends the call.
    using Progress = std::function<void(double)>;

    explicit DiarizerManager(const DiarizerConfig& config = DiarizerConfig::standard);

    bool isAvailable() const { return models_.has_value(); }

    void initialize(DiarizerModels models);
    // Lets go of the models; the speakers stay.
    void cleanup();

    // Mono samples at `sampleRate` Hz; the networks hear 16000 a second. `atTime` (seconds) is added to every time.
    // Segments come in the order of the chunks, sorted by start within each. With overlapping chunks the same speech
    // can yield overlapping segments.
    //
    // Throws DiarizerError notInitialized without models, processingFailed for settings that cut no chunks and for
    // networks that answer with other tensors, memoryAllocationFailed; Cancelled between chunks once `stop` is
    // requested; the networks' own errors. Nothing partial is returned; the speakers heard until then stay known.
    DiarizationResult diarize(std::span<const float> samples, int sampleRate = 16000, double atTime = 0,
                              const std::stop_token& stop = {}, const Progress& progress = {});

    // The same from a collection without contiguous storage.
    template <std::random_access_iterator Iterator>
    DiarizationResult diarize(Iterator first, Iterator last, int sampleRate = 16000, double atTime = 0,
                              const std::stop_token& stop = {}, const Progress& progress = {});

    AudioValidationResult validateAudio(std::span<const float> samples) const {
        return audioValidation_.validateAudio(samples);
    }

    bool validateEmbedding(std::span<const float> embedding) const {
        return audioValidation_.validateEmbedding(embedding);
    }

    // Known voices: those already present stay as they are.
    void initializeKnownSpeakers(const std::vector<std::shared_ptr<Speaker>>& speakers);

    SpeakerManager& speakerManager() { return speakerManager_; }

    const SpeakerManager& speakerManager() const { return speakerManager_; }

    const DiarizerConfig& config() const { return config_; }

private:
    // Copies samples from `start` on to fill the destination.
    using CopySamples = std::function<void(std::size_t start, std::span<float> destination)>;
    using LocalSpeakers = std::array<LocalSpeaker, SpeakerActivity::speakerCount>;

    // What one call reuses from chunk to chunk.
    struct Run {
        std::vector<float> chunk;
        std::vector<std::vector<float>> masks;
        double segmentationSeconds = 0;
        double embeddingSeconds = 0;
        double clusteringSeconds = 0;
    };

    DiarizationResult diarizeChunks(std::size_t count, const CopySamples& copy, int sampleRate, double atTime,
                                    const std::stop_token& stop, const Progress& progress);
    std::vector<TimedSpeakerSegment> processChunk(std::size_t start, std::size_t length, const CopySamples& copy,
                                                  double chunkOffset, Run& run);
    LocalSpeakers assignSpeakers(const SpeakerActivity& activity, std::vector<std::vector<float>> embeddings);
    std::map<std::string, std::vector<float>> speakerDatabase() const;

    AppLogger logger_{"Diarizer"};
    DiarizerConfig config_;
    std::optional<DiarizerModels> models_;
    SegmentationProcessor segmentationProcessor_;
    std::optional<EmbeddingExtractor> embeddingExtractor_;
    AudioValidation audioValidation_;
    SpeakerManager speakerManager_;
};

template <std::random_access_iterator Iterator>
DiarizationResult DiarizerManager::diarize(Iterator first, Iterator last, int sampleRate, double atTime,
                                           const std::stop_token& stop, const Progress& progress) {
    const auto copy = [first](std::size_t start, std::span<float> destination) {
        std::copy_n(first + static_cast<std::iter_difference_t<Iterator>>(start), destination.size(),
                    destination.begin());
    };
    return diarizeChunks(static_cast<std::size_t>(last - first), copy, sampleRate, atTime, stop, progress);
}

} // namespace VarnelSpeech
