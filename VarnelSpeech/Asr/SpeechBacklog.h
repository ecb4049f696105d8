#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <stop_token>
#include <vector>

namespace VarnelSpeech {

// 16 kHz mono audio that waits for a recogniser, first in, first out, in the pieces it came in. When it comes faster
// than it is taken, the oldest is skipped: memory is bounded, and whoever takes learns how much is missing.
//
// A serialised object (one mutex); any thread.
class SpeechBacklog {
public:
    // At most `maximumSamples` wait. When they would be more, so much is skipped that `skipSamples` more fit: a few
    // long gaps leave more whole sentences than many short ones. `skipSamples` is at most `maximumSamples`.
    SpeechBacklog(std::size_t maximumSamples, std::size_t skipSamples);

    struct Piece {
        std::int64_t skippedBefore = 0; // samples that are missing right before it
        std::vector<float> samples;     // not empty
    };

    // Of a piece longer than the maximum the end is kept. An empty one is none.
    void append(std::span<const float> samples);

    // No more comes; what is there can be taken.
    void close();

    // Waits for the next piece; writes into `piece`, whose memory is used again. False when a stop is requested, and
    // when the backlog is closed and empty.
    bool take(Piece& piece, const std::stop_token& stop);

    std::size_t waitingSamples() const;

private:
    void dropOldest();
    void makeRoom(std::size_t samples);

    const std::size_t maximumSamples_;
    const std::size_t skipSamples_;
    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    std::deque<float> samples_;
    std::deque<std::uint32_t> lengths_; // of the pieces
    std::int64_t skipped_ = 0;          // before the first piece
    bool isClosed_ = false;
};

} // namespace VarnelSpeech
