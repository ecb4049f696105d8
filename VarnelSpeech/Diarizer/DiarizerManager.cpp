#include "VarnelSpeech/Diarizer/DiarizerManager.h"

#include "VarnelSpeech/Diarizer/ChunkPlan.h"
#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Shared/Cancelled.h"

#include <chrono>
#include <cmath>
#include <iterator>
#include <new>
#include <utility>

namespace VarnelSpeech {

namespace {

std::vector<float> chunkBuffer(std::size_t size) {
    try {
        return std::vector<float>(size);
    } catch (const std::bad_alloc&) {
        throw DiarizerError(DiarizerError::Case::memoryAllocationFailed);
    }
}

} // namespace

DiarizerManager::DiarizerManager(const DiarizerConfig& config)
    : config_(config),
      speakerManager_(config.clusteringThreshold * 1.2F, config.clusteringThreshold * 0.8F, config.minSpeechDuration,
                      config.minEmbeddingUpdateDuration) {}

void DiarizerManager::initialize(DiarizerModels models) {
    logger_.info("Initializing diarization system");
    embeddingExtractor_.emplace(models.embeddingModel);
    logger_.info("EmbeddingExtractor initialized with embedding model");
    models_ = std::move(models);
}

void DiarizerManager::cleanup() {
    models_.reset();
    logger_.info("Diarization resources cleaned up");
}

void DiarizerManager::initializeKnownSpeakers(const std::vector<std::shared_ptr<Speaker>>& speakers) {
    speakerManager_.initializeKnownSpeakers(speakers, SpeakerInitializationMode::skip, PermanentSpeakers::keep);
}

DiarizationResult DiarizerManager::diarize(std::span<const float> samples, int sampleRate, double atTime,
                                           const std::stop_token& stop, const Progress& progress) {
    const auto copy = [samples](std::size_t start, std::span<float> destination) {
        std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(start), destination.size(), destination.begin());
    };
    return diarizeChunks(samples.size(), copy, sampleRate, atTime, stop, progress);
}

DiarizationResult DiarizerManager::diarizeChunks(std::size_t count, const CopySamples& copy, int sampleRate,
                                                 double atTime, const std::stop_token& stop, const Progress& progress) {
    if (!models_)
        throw DiarizerError(DiarizerError::Case::notInitialized);
    if (!std::isfinite(atTime))
        throw DiarizerError::processingFailed("the start time is not a finite number");
    const ChunkPlan plan = ChunkPlan::make(config_, sampleRate);
    DiarizationResult result;
    Run run;
    run.chunk = chunkBuffer(plan.chunkSize);
    for (std::size_t start = 0; start < count; start += plan.step) {
        if (stop.stop_requested())
            throw Cancelled();
        const std::size_t length = std::min(plan.chunkSize, count - start);
        const double chunkOffset = static_cast<double>(start) / sampleRate + atTime;
        auto segments = processChunk(start, length, copy, chunkOffset, run);
        result.segments.insert(result.segments.end(), std::make_move_iterator(segments.begin()),
                               std::make_move_iterator(segments.end()));
        if (progress)
            progress(static_cast<double>(std::min(count, start + plan.step)) / static_cast<double>(count));
    }

    const auto processed = std::chrono::steady_clock::now();
    if (config_.debugMode) {
        result.speakerDatabase = speakerDatabase();
        const std::chrono::duration<double> post = std::chrono::steady_clock::now() - processed;
        result.timings.emplace(models_->compilationDuration, 0.0, run.segmentationSeconds, run.embeddingSeconds,
                               run.clusteringSeconds, post.count());
    }
    return result;
}

std::map<std::string, std::vector<float>> DiarizerManager::speakerDatabase() const {
    std::map<std::string, std::vector<float>> database;
    speakerManager_.forEachSpeaker(
        [&](const Speaker& speaker) { database[speaker.id()] = speaker.currentEmbedding(); });
    return database;
}

} // namespace VarnelSpeech
