#pragma once

#include "Varnel/Platform/AudioStream.h"

#include <memory>
#include <span>
#include <utility>

namespace Varnel::Testing {

// A capture that delivers what the test says. The test holds the state, the code under test the stream.
class FakeAudioStream final : public AudioStream {
public:
    struct State {
        AudioBlockHandler handler;
        bool isStopped = false;
        bool isPaused = false;

        // As the server would: nothing comes from a paused or stopped capture.
        void deliver(const AudioBlock& block) const {
            if (!isStopped && !isPaused)
                handler(block);
        }
    };

    explicit FakeAudioStream(std::shared_ptr<State> state, AudioStreamFormat format = {})
        : state_(std::move(state)), format_(format) {}

    ~FakeAudioStream() override { state_->isStopped = true; }

    AudioStreamFormat format() const override { return format_; }

    void pause() override { state_->isPaused = true; }

    void resume() override { state_->isPaused = false; }

    void stop() noexcept override { state_->isStopped = true; }

private:
    std::shared_ptr<State> state_;
    AudioStreamFormat format_;
};

} // namespace Varnel::Testing
