#include "VarnelSpeech/Shared/ProgressEmitter.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <utility>

namespace VarnelSpeech {

struct ProgressStream::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<double> values;
    std::exception_ptr error;
    bool isFinished = false;

    void send(double value) {
        {
            const std::lock_guard lock(mutex);
            values.push_back(value);
        }
        changed.notify_all();
    }

    void finish(std::exception_ptr with = nullptr) {
        {
            const std::lock_guard lock(mutex);
            isFinished = true;
            error = std::move(with);
        }
        changed.notify_all();
    }
};

ProgressStream::ProgressStream() : state_(std::make_shared<State>()) {}

ProgressStream::~ProgressStream() = default;

std::optional<double> ProgressStream::next() {
    std::unique_lock lock(state_->mutex);
    state_->changed.wait(lock, [this] { return !state_->values.empty() || state_->isFinished; });
    if (!state_->values.empty()) {
        const double value = state_->values.front();
        state_->values.pop_front();
        return value;
    }
    if (state_->error)
        std::rethrow_exception(std::exchange(state_->error, nullptr));
    return std::nullopt;
}

ProgressEmitter::~ProgressEmitter() {
    if (isActive_)
        stream_->state_->finish();
}

std::shared_ptr<ProgressStream> ProgressEmitter::ensureSession() {
    const std::lock_guard lock(mutex_);
    if (!isActive_) {
        stream_ = std::make_shared<ProgressStream>();
        isActive_ = true;
    }
    return stream_;
}

void ProgressEmitter::report(double progress) {
    const std::lock_guard lock(mutex_);
    if (isActive_)
        stream_->state_->send(std::clamp(progress, 0.0, 1.0));
}

void ProgressEmitter::finishSession() {
    const std::lock_guard lock(mutex_);
    if (!isActive_)
        return;
    stream_->state_->send(1.0);
    stream_->state_->finish();
    isActive_ = false;
    stream_.reset();
}

void ProgressEmitter::failSession(std::exception_ptr error) {
    const std::lock_guard lock(mutex_);
    if (!isActive_)
        return;
    stream_->state_->finish(std::move(error));
    isActive_ = false;
    stream_.reset();
}

} // namespace VarnelSpeech
