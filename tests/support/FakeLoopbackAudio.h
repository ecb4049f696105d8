#pragma once

#include "support/FakeAudioStream.h"
#include "support/Gate.h"

#include "Varnel/Platform/LoopbackAudio.h"

#include <string>
#include <utility>
#include <vector>

namespace Varnel::Testing {

// A machine's sound output that the test plays.
class FakeLoopbackAudio final : public LoopbackAudio {
public:
    QCoro::Task<std::unique_ptr<AudioStream>> open(AudioBlockHandler onBlock) override {
        const auto state = std::make_shared<FakeAudioStream::State>();
        state->handler = std::move(onBlock);
        opened.push_back(state);
        co_await gate.passage();
        if (!failure.empty())
            throw AudioStreamError(failure);
        std::unique_ptr<AudioStream> stream = std::make_unique<FakeAudioStream>(state);
        co_return stream;
    }

    Gate gate;           // closed, an opening takes its time
    std::string failure; // not empty: what an opening fails with
    std::vector<std::shared_ptr<FakeAudioStream::State>> opened;
};

} // namespace Varnel::Testing
