#include "VarnelSpeech/Asr/SpeechBacklog.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace VarnelSpeech {

SpeechBacklog::SpeechBacklog(std::size_t maximumSamples, std::size_t skipSamples)
    : maximumSamples_(std::min<std::size_t>(maximumSamples, std::numeric_limits<std::uint32_t>::max())),
      skipSamples_(std::min(skipSamples, maximumSamples_)) {}

void SpeechBacklog::append(std::span<const float> samples) {
    if (samples.empty())
        return;
    {
        const std::lock_guard lock(mutex_);
        const std::span<const float> kept = samples.last(std::min(samples.size(), maximumSamples_));
        makeRoom(kept.size());
        skipped_ += static_cast<std::int64_t>(samples.size() - kept.size());
        lengths_.push_back(static_cast<std::uint32_t>(kept.size()));
        samples_.insert(samples_.end(), kept.begin(), kept.end());
    }
    changed_.notify_one();
}

void SpeechBacklog::makeRoom(std::size_t samples) {
    if (samples_.size() + samples <= maximumSamples_)
        return;
    while (!lengths_.empty() && samples_.size() + samples + skipSamples_ > maximumSamples_)
        dropOldest();
}

void SpeechBacklog::dropOldest() {
    const std::uint32_t length = lengths_.front();
    lengths_.pop_front();
    samples_.erase(samples_.begin(), samples_.begin() + length);
    skipped_ += length;
}

void SpeechBacklog::close() {
    {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
    }
    changed_.notify_all();
}

bool SpeechBacklog::take(Piece& piece, const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, stop, [this] { return !lengths_.empty() || isClosed_; });
    if (stop.stop_requested() || lengths_.empty())
        return false;
    const auto end = samples_.begin() + lengths_.front();
    piece.samples.assign(samples_.begin(), end);
    piece.skippedBefore = std::exchange(skipped_, 0);
    samples_.erase(samples_.begin(), end);
    lengths_.pop_front();
    return true;
}

std::size_t SpeechBacklog::waitingSamples() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
}

} // namespace VarnelSpeech
