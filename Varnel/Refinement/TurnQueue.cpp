#include "Varnel/Refinement/TurnQueue.h"

#include "VarnelSpeech/Shared/Cancelled.h"

#include <utility>

namespace Varnel {

TurnQueue::Turn::Turn(TurnQueue& queue, WaitingRoom& room, std::stop_token stop)
    : MainContextWait(room), queue_(queue), stop_(std::move(stop)) {
    queue_.turns_.push_back(this);
    if (queue_.turns_.front() == this)
        end();
    leaveEarly_.emplace(stop_, [this] { endLater(); });
}

TurnQueue::Turn::~Turn() {
    leaveEarly_.reset();
    const bool hadTurn = queue_.turns_.front() == this;
    std::erase(queue_.turns_, this);
    if (hadTurn && !queue_.turns_.empty())
        queue_.turns_.front()->endLater();
}

void TurnQueue::Turn::result() const {
    MainContextWait::result();
    if (stop_.stop_requested())
        throw VarnelSpeech::Cancelled();
}

} // namespace Varnel
