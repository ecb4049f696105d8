#pragma once

#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace VarnelSpeech::Testing {

using Update = StreamingTranscriptionUpdate;

// A buffer as the models take it.
inline PcmBuffer speechBuffer(std::span<const float> samples) {
    PcmBuffer buffer(AudioFormat::speech(), samples.size());
    std::copy(samples.begin(), samples.end(), buffer.floatPlane(0).begin());
    return buffer;
}

// Streams 16 kHz audio in buffers of so many samples; the last may be shorter.
inline void streamInPieces(StreamingAsrManager& stream, std::span<const float> samples, std::size_t pieceSamples) {
    while (!samples.empty()) {
        const auto piece = samples.first(std::min(pieceSamples, samples.size()));
        stream.streamAudio(speechBuffer(piece));
        samples = samples.subspan(piece.size());
    }
}

// A gate that a thread waits at until the test opens it.
class Gate {
public:
    // Waits until it is open.
    void pass() {
        std::unique_lock lock(mutex_);
        isReached_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }

    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

    // Waits until somebody has come to it.
    void waitUntilReached() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isReached_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isReached_ = false;
    bool isOpen_ = false;
};

// The updates of a stream, from whichever thread they come.
class Updates {
public:
    StreamingAsrManager::UpdateSink sink() {
        return [this](const Update& update) {
            const std::lock_guard lock(mutex_);
            updates_.push_back(update);
            changed_.notify_all();
        };
    }

    void waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return updates_.size() >= count; });
    }

    std::vector<Update> all() const {
        const std::lock_guard lock(mutex_);
        return updates_;
    }

    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (const Update& update : all())
            texts.push_back(update.text);
        return texts;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Update> updates_;
};

// A date that moves on by a given time with each look at it.
class SteppingDate {
public:
    explicit SteppingDate(std::chrono::milliseconds step) : step_(step) {}

    static std::chrono::system_clock::time_point start() {
        return std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));
    }

    std::chrono::system_clock::time_point now() {
        const std::lock_guard lock(mutex_);
        return start() + step_ * looks_++;
    }

private:
    std::mutex mutex_;
    std::chrono::milliseconds step_;
    int looks_ = 0;
};

} // namespace VarnelSpeech::Testing
