#include "VarnelSpeech/Asr/StreamingWindows.h"

#include "VarnelSpeech/Asr/ASRConfig.h"

#include <algorithm>

namespace VarnelSpeech {

namespace {

std::int64_t samplesOf(double seconds) {
    return static_cast<std::int64_t>(seconds * ASRConfig().sampleRate);
}

} // namespace

StreamingWindows::StreamingWindows(const StreamingAsrConfig& config)
    : chunk_(samplesOf(config.chunkSeconds)),
      left_(samplesOf(config.leftContextSeconds)),
      right_(samplesOf(config.rightContextSeconds)) {}

void StreamingWindows::append(std::span<const float> samples) {
    sampleBuffer_.insert(sampleBuffer_.end(), samples.begin(), samples.end());
}

std::int64_t StreamingWindows::skip(std::int64_t samples) {
    const std::int64_t resume = bufferEnd() + samples;
    const std::int64_t lost = resume - std::min(nextWindowCenterStart_, bufferEnd());
    reset();
    bufferStartIndex_ = resume;
    nextWindowCenterStart_ = resume;
    return lost;
}

std::optional<StreamingWindows::Window> StreamingWindows::next() const {
    const std::int64_t windowEnd = nextWindowCenterStart_ + chunk_ + right_;
    if (bufferEnd() < windowEnd)
        return std::nullopt;
    return slice(windowEnd, chunk_);
}

std::optional<StreamingWindows::Window> StreamingWindows::nextAtEnd() const {
    if (nextWindowCenterStart_ >= bufferEnd())
        return std::nullopt;
    const std::int64_t length = std::min(bufferEnd() - nextWindowCenterStart_, chunk_);
    auto window = slice(nextWindowCenterStart_ + length, length);
    if (window)
        window->isLast = nextWindowCenterStart_ + length >= bufferEnd();
    return window;
}

std::optional<StreamingWindows::Window> StreamingWindows::slice(std::int64_t windowEnd, std::int64_t newSamples) const {
    // Behind a gap there is no left context yet.
    const std::int64_t windowStart = std::max(nextWindowCenterStart_ - left_, bufferStartIndex_);
    if (windowStart >= windowEnd || windowEnd > bufferEnd())
        return std::nullopt;
    const std::size_t first = dropped_ + static_cast<std::size_t>(windowStart - bufferStartIndex_);
    const auto length = static_cast<std::size_t>(windowEnd - windowStart);
    return Window{std::span(sampleBuffer_).subspan(first, length), windowStart, newSamples, false};
}

void StreamingWindows::advance(const Window& window) {
    nextWindowCenterStart_ += window.newSamples;
    const std::int64_t unneeded = nextWindowCenterStart_ - left_ - bufferStartIndex_;
    if (unneeded > 0 && unneeded <= static_cast<std::int64_t>(sampleCount()))
        drop(static_cast<std::size_t>(unneeded));
}

// OPTIMIZATION: samples move up only when what was dropped outweighs what is left, so that a long buffer with many
// windows is not moved for each of them.
void StreamingWindows::drop(std::size_t samples) {
    dropped_ += samples;
    bufferStartIndex_ += static_cast<std::int64_t>(samples);
    if (dropped_ >= sampleCount()) {
        sampleBuffer_.erase(sampleBuffer_.begin(), sampleBuffer_.begin() + static_cast<std::ptrdiff_t>(dropped_));
        dropped_ = 0;
    }
}

void StreamingWindows::reset() {
    sampleBuffer_.clear();
    dropped_ = 0;
    bufferStartIndex_ = 0;
    nextWindowCenterStart_ = 0;
}

} // namespace VarnelSpeech
