#pragma once

#include "VarnelSpeech/Asr/StreamingAsrConfig.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Cuts a stream of 16 kHz mono audio into windows: each has new audio where the one before ended, and context on both
// sides that its neighbours hear as well. Keeps the audio that a window may still need and no more. All positions
// count samples from the stream's start. Not locked.
class StreamingWindows {
public:
    explicit StreamingWindows(const StreamingAsrConfig& config);

    struct Window {
        std::span<const float> samples; // valid until the next change
        std::int64_t start = 0;         // of the first sample
        std::int64_t newSamples = 0;    // by which the stream advances
        bool isLast = false;            // ends with the stream
    };

    void append(std::span<const float> samples);

    // So many samples of the stream are missing here. What waits for a window that now never fills is given up with
    // them; the audio after them begins afresh, at its own place. Returns how many were lost, these included.
    std::int64_t skip(std::int64_t samples);

    // The next whole window; none while audio is missing.
    std::optional<Window> next() const;

    // The next window when no more audio comes: shorter if need be, with nothing after it.
    std::optional<Window> nextAtEnd() const;

    // Moves on behind a window's new audio and lets go of what no later window needs.
    void advance(const Window& window);

    // Back to position 0, without audio.
    void reset();

    std::int64_t bufferStartIndex() const { return bufferStartIndex_; }

    std::int64_t nextWindowCenterStart() const { return nextWindowCenterStart_; }

    std::int64_t bufferEnd() const { return bufferStartIndex_ + static_cast<std::int64_t>(sampleCount()); }

private:
    std::size_t sampleCount() const { return sampleBuffer_.size() - dropped_; }

    std::optional<Window> slice(std::int64_t windowEnd, std::int64_t newSamples) const;
    void drop(std::size_t samples);

    std::int64_t chunk_; // samples
    std::int64_t left_;
    std::int64_t right_;
    std::vector<float> sampleBuffer_;
    std::size_t dropped_ = 0;                // at its front, no longer part of it
    std::int64_t bufferStartIndex_ = 0;      // position of its first sample
    std::int64_t nextWindowCenterStart_ = 0; // position of the next window's new audio
};

} // namespace VarnelSpeech
