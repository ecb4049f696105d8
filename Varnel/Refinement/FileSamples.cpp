#include "Varnel/Refinement/FileSamples.h"

#include "Varnel/Refinement/FileRecognition.h"
#include "VarnelSpeech/Shared/Cancelled.h"

#include <utility>

namespace Varnel {

const std::vector<float>& FileSamples::get(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    if (state_ == State::unread) {
        state_ = State::reading;
        lock.unlock();
        readFile(stop);
        lock.lock();
    }
    if (!changed_.wait(lock, stop, [this] { return state_ == State::read; }))
        throw VarnelSpeech::Cancelled();
    if (failure_)
        std::rethrow_exception(failure_);
    return samples_;
}

void FileSamples::readFile(const std::stop_token& stop) {
    std::vector<float> samples;
    std::exception_ptr failure;
    try {
        samples = readForModels(file_, report_, stop);
    } catch (...) {
        failure = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    samples_ = std::move(samples);
    failure_ = std::move(failure);
    state_ = State::read;
    changed_.notify_all();
}

} // namespace Varnel
