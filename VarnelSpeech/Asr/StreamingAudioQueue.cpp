#include "VarnelSpeech/Asr/StreamingAudioQueue.h"

#include <cstring>
#include <utility>

namespace VarnelSpeech {

namespace {

// Larger buffers are not what an audio thread delivers, and too much to keep.
constexpr std::size_t largestSpareBytes = std::size_t{512} << 10U;

void copy(const PcmView& audio, PcmBuffer& buffer) {
    const std::size_t planeBytes = buffer.bytes().size() / buffer.planeCount();
    if (planeBytes == 0)
        return;
    for (std::size_t plane = 0; plane < buffer.planeCount(); ++plane)
        std::memcpy(buffer.bytes().data() + plane * planeBytes, audio.data + plane * audio.planeStride, planeBytes);
}

bool isAlike(const PcmBuffer& buffer, const AudioFormat& format, std::size_t frames) {
    return buffer.frameLength() == frames && buffer.format() == format;
}

} // namespace

StreamingAudioQueue::StreamingAudioQueue() {
    waiting_.reserve(expectedBuffers);
    spares_.reserve(expectedBuffers);
}

void StreamingAudioQueue::push(PcmBuffer buffer) noexcept {
    try {
        pushEntry(std::move(buffer));
    } catch (const std::bad_alloc&) {
        return; // a moment of a live stream; the next one may fit
    }
}

void StreamingAudioQueue::push(const PcmView& audio) noexcept {
    try {
        std::optional<PcmBuffer> buffer = takeSpare(audio);
        if (!buffer)
            buffer.emplace(audio.format, audio.frames);
        copy(audio, *buffer);
        pushEntry(std::move(*buffer));
    } catch (const AudioConverterError& error) {
        try {
            pushEntry(error);
        } catch (const std::bad_alloc&) {
            return;
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

std::optional<PcmBuffer> StreamingAudioQueue::takeSpare(const PcmView& audio) {
    const std::lock_guard lock(mutex_);
    if (spares_.empty() || !isAlike(spares_.back(), audio.format, audio.frames))
        return std::nullopt;
    std::optional<PcmBuffer> spare(std::move(spares_.back()));
    spares_.pop_back();
    return spare;
}

void StreamingAudioQueue::pushEntry(Entry entry) {
    {
        const std::lock_guard lock(mutex_);
        if (isClosed_)
            return;
        waiting_.push_back(std::move(entry));
    }
    changed_.notify_one();
}

void StreamingAudioQueue::close() {
    {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
    }
    changed_.notify_all();
}

bool StreamingAudioQueue::take(std::vector<Entry>& entries, const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, stop, [this] { return !waiting_.empty() || isClosed_; });
    if (stop.stop_requested())
        return false;
    entries.swap(waiting_);
    return !entries.empty();
}

void StreamingAudioQueue::giveBack(PcmBuffer buffer) {
    if (buffer.bytes().size() > largestSpareBytes)
        return;
    const std::lock_guard lock(mutex_);
    if (!spares_.empty() && !isAlike(spares_.front(), buffer.format(), buffer.frameLength()))
        spares_.clear();
    if (spares_.size() < expectedBuffers)
        spares_.push_back(std::move(buffer));
}

} // namespace VarnelSpeech
