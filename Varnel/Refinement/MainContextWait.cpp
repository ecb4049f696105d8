#include "Varnel/Refinement/MainContextWait.h"

#include "VarnelSpeech/Shared/Cancelled.h"

#include <utility>

namespace Varnel {

void WaitingRoom::close() {
    isClosed_ = true;
    while (!waiting_.empty())
        waiting_.back()->resume();
}

MainContextWait::~MainContextWait() {
    std::erase(room_.waiting_, this);
}

void MainContextWait::suspend(std::coroutine_handle<> coroutine) {
    coroutine_ = coroutine;
    room_.waiting_.push_back(this);
}

void MainContextWait::result() const {
    if (!isOver_)
        throw VarnelSpeech::Cancelled();
}

void MainContextWait::endLater() {
    QMetaObject::invokeMethod(
        &context_,
        [this] {
            isOver_ = true;
            resume();
        },
        Qt::QueuedConnection);
}

// The coroutine may end, and take this object with it: nothing may follow its resumption.
void MainContextWait::resume() {
    std::erase(room_.waiting_, this);
    if (const auto coroutine = std::exchange(coroutine_, nullptr))
        coroutine.resume();
}

} // namespace Varnel
