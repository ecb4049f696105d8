#include "VarnelSpeech/Diarizer/ChunkSegments.h"

#include "VarnelSpeech/Diarizer/UUID.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace VarnelSpeech {

namespace {

constexpr float onset = 0.3F;           // activity above which a speaker counts as active
constexpr float onsetInOverlap = 0.15F; // while another speaker is active
constexpr float fullQualityNorm = 10.0F;

bool isActive(std::span<const float, SpeakerActivity::speakerCount> frame, std::size_t speaker) {
    bool isOverlap = false;
    for (std::size_t other = 0; other < frame.size(); ++other)
        isOverlap = isOverlap || (other != speaker && frame[other] > onset);
    return frame[speaker] > (isOverlap ? onsetInOverlap : onset);
}

float norm(std::span<const float> embedding) {
    float squares = 0;
    for (const float value : embedding)
        squares += value * value;
    return std::sqrt(squares);
}

// Collects one local speaker's segments.
class SpeakerStretches {
public:
    SpeakerStretches(const LocalSpeaker& speaker, double chunkOffset, float minSpeechDuration,
                     std::vector<TimedSpeakerSegment>& segments)
        : speaker_(speaker),
          chunkOffset_(chunkOffset),
          minSpeechDuration_(minSpeechDuration),
          loudness_(std::min(norm(speaker.embedding) / fullQualityNorm, 1.0F)),
          segments_(segments) {}

    // Frames `first` up to and without `end`.
    void close(std::size_t first, std::size_t end) {
        const double start = static_cast<double>(first) * SpeakerActivity::secondsPerFrame + chunkOffset_;
        const double stop = static_cast<double>(end) * SpeakerActivity::secondsPerFrame + chunkOffset_;
        if (static_cast<float>(stop - start) < minSpeechDuration_)
            return;
        // The activity is that of the whole chunk, so that several stretches share the speaker's standing in it.
        const float quality = speaker_.activity / static_cast<float>(end - first) * loudness_;
        segments_.push_back({UUID::fresh().text(), speaker_.id, speaker_.embedding, static_cast<float>(start),
                             static_cast<float>(stop), quality});
    }

private:
    const LocalSpeaker& speaker_;
    double chunkOffset_;
    float minSpeechDuration_;
    float loudness_;
    std::vector<TimedSpeakerSegment>& segments_;
};

} // namespace

void fillCleanFrameMasks(const SpeakerActivity& activity, std::vector<std::vector<float>>& masks) {
    masks.resize(SpeakerActivity::speakerCount);
    for (auto& mask : masks)
        mask.resize(activity.frameCount());
    for (std::size_t frame = 0; frame < activity.frameCount(); ++frame) {
        const auto values = activity.frame(frame);
        const float sum = values[0] + values[1] + values[2];
        const float clean = sum < 2.0F ? 1.0F : 0.0F;
        for (std::size_t speaker = 0; speaker < masks.size(); ++speaker)
            masks[speaker][frame] = clean * values[speaker];
    }
}

std::vector<TimedSpeakerSegment> chunkSegments(const SpeakerActivity& activity, std::span<const LocalSpeaker> speakers,
                                               double chunkOffset, const DiarizerConfig& config) {
    std::vector<TimedSpeakerSegment> segments;
    for (std::size_t speaker = 0; speaker < speakers.size(); ++speaker) {
        const LocalSpeaker& local = speakers[speaker];
        if (local.activity < config.minActiveFramesCount || local.id.empty() || local.embedding.empty())
            continue;
        SpeakerStretches stretches(local, chunkOffset, config.minSpeechDuration, segments);
        std::optional<std::size_t> first;
        for (std::size_t frame = 0; frame < activity.frameCount(); ++frame) {
            const bool active = isActive(activity.frame(frame), speaker);
            if (active && !first)
                first = frame;
            else if (!active && first) {
                stretches.close(*first, frame);
                first.reset();
            }
        }
        if (first)
            stretches.close(*first, activity.frameCount());
    }
    std::stable_sort(segments.begin(), segments.end(),
                     [](const auto& a, const auto& b) { return a.startTimeSeconds < b.startTimeSeconds; });
    return segments;
}

} // namespace VarnelSpeech
