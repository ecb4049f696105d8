#pragma once

#include "Varnel/Refinement/MainContextWait.h"

#include <deque>
#include <functional>
#include <optional>
#include <stop_token>

namespace Varnel {

// Lets coroutines of the main context through one at a time, first come first served. Main context only.
class TurnQueue {
public:
    // A place in the queue, from construction to destruction. Once awaited it is this coroutine's turn, until the
    // object goes. Awaiting it throws VarnelSpeech::Cancelled when `stop` was requested before the turn came.
    class Turn final : public MainContextWait {
    public:
        Turn(TurnQueue& queue, WaitingRoom& room, std::stop_token stop);
        ~Turn() override;

        void result() const;

    private:
        TurnQueue& queue_;
        std::stop_token stop_;
        std::optional<std::stop_callback<std::function<void()>>> leaveEarly_;
    };

private:
    std::deque<Turn*> turns_; // the front one has its turn
};

} // namespace Varnel
