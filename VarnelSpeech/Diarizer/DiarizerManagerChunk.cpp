#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Diarizer/DiarizerManager.h"
#include "VarnelSpeech/Diarizer/DiarizerModelContracts.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace VarnelSpeech {

namespace {

// Takes the time from one call to the next, in seconds.
class Stopwatch {
public:
    double lap() {
        const auto now = std::chrono::steady_clock::now();
        return std::chrono::duration<double>(now - std::exchange(last_, now)).count();
    }

private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

} // namespace

std::vector<TimedSpeakerSegment> DiarizerManager::processChunk(std::size_t start, std::size_t length,
                                                               const CopySamples& copy, double chunkOffset, Run& run) {
    Stopwatch watch;
    // A last chunk that is shorter stays filled up with zeros: what follows sees whole chunks.
    copy(start, std::span(run.chunk).first(length));
    std::fill(run.chunk.begin() + static_cast<std::ptrdiff_t>(length), run.chunk.end(), 0.0F);
    const SpeakerActivity activity =
        segmentationProcessor_.segment(run.chunk, diarizerWindowSamples, *models_->segmentationModel);
    run.segmentationSeconds += watch.lap();

    if (!embeddingExtractor_)
        throw DiarizerError(DiarizerError::Case::notInitialized);
    fillCleanFrameMasks(activity, run.masks);
    auto embeddings = embeddingExtractor_->extractEmbeddings(run.chunk, run.masks, config_.minActiveFramesCount);
    run.embeddingSeconds += watch.lap();

    const LocalSpeakers speakers = assignSpeakers(activity, std::move(embeddings));
    run.clusteringSeconds += watch.lap();
    return chunkSegments(activity, speakers, chunkOffset, config_);
}

DiarizerManager::LocalSpeakers DiarizerManager::assignSpeakers(const SpeakerActivity& activity,
                                                               std::vector<std::vector<float>> embeddings) {
    LocalSpeakers speakers;
    for (std::size_t index = 0; index < speakers.size(); ++index) {
        LocalSpeaker& speaker = speakers[index];
        speaker.activity = activity.total(index);
        speaker.embedding = std::move(embeddings[index]);
        // Strictly more than what the segments ask for.
        if (!(speaker.activity > config_.minActiveFramesCount) || !validateEmbedding(speaker.embedding))
            continue;
        const float speechSeconds = speaker.activity * static_cast<float>(SpeakerActivity::secondsPerFrame);
        if (const auto known = speakerManager_.assignSpeaker(speaker.embedding, speechSeconds))
            speaker.id = known->id();
    }
    return speakers;
}

} // namespace VarnelSpeech
