#pragma once

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "VarnelSpeech/Shared/PcmBuffer.h"
#include "VarnelSpeech/Shared/PcmView.h"

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <stop_token>
#include <variant>
#include <vector>

namespace VarnelSpeech {

// Buffers of captured audio on their way to one reader, first in, first out, unbounded.
//
// One mutex, held for moving a buffer or copying one of the usual size. Writers may be audio threads: they never wait
// for the reader's work, and they allocate nothing once the memory of read buffers comes back (`giveBack`) and as long
// as the reader is not more than `expectedBuffers` behind.
class StreamingAudioQueue {
public:
    // A buffer, or why there is none: a view whose format makes no sense.
    using Entry = std::variant<PcmBuffer, AudioConverterError>;

    static constexpr std::size_t expectedBuffers = 64;

    StreamingAudioQueue();

    // Any thread. After `close` nothing happens, and audio for which there is no memory is lost.
    void push(PcmBuffer buffer) noexcept;
    void push(const PcmView& audio) noexcept; // copies

    // Nothing is taken in any more; what is there can be read.
    void close();

    // Waits until something is there and exchanges it for `entries`, which must be empty and whose memory is used
    // again. False when a stop is requested, and when the queue is closed and empty.
    bool take(std::vector<Entry>& entries, const std::stop_token& stop);

    // Lets a later `push` of a view use this buffer's memory.
    void giveBack(PcmBuffer buffer);

private:
    std::optional<PcmBuffer> takeSpare(const PcmView& audio);
    void pushEntry(Entry entry);

    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::vector<Entry> waiting_;
    std::vector<PcmBuffer> spares_; // all of one format and length
    bool isClosed_ = false;
};

} // namespace VarnelSpeech
