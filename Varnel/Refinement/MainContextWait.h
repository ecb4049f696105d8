#pragma once

#include <QObject>

#include <coroutine>
#include <vector>

namespace Varnel {

class MainContextWait;

// The coroutines of the main context that wait for one object's work. When the object goes, it closes the room:
// whoever still waits goes on at once, with an error. Main context only.
class WaitingRoom {
public:
    WaitingRoom() = default;
    WaitingRoom(const WaitingRoom&) = delete;
    WaitingRoom& operator=(const WaitingRoom&) = delete;

    bool isClosed() const { return isClosed_; }

    // Resumes everybody, until nobody waits; later waits fail at once.
    void close();

private:
    friend class MainContextWait;
    std::vector<MainContextWait*> waiting_;
    bool isClosed_ = false;
};

// What one coroutine of the main context waits for: something that will be there later. Lives in the coroutine's frame:
//
//     co_await completion(wait);
//
// throws VarnelSpeech::Cancelled when the room was closed first.
class MainContextWait {
public:
    explicit MainContextWait(WaitingRoom& room) : room_(room) {}

    virtual ~MainContextWait();
    MainContextWait(const MainContextWait&) = delete;
    MainContextWait& operator=(const MainContextWait&) = delete;

    bool isReady() const noexcept { return isOver_ || room_.isClosed(); }

    void suspend(std::coroutine_handle<> coroutine);
    void result() const;

    // It is there: the coroutine goes on from the event loop. From any thread, while the object lives.
    void endLater();

protected:
    // It was there from the beginning.
    void end() { isOver_ = true; }

private:
    friend class WaitingRoom;
    void resume();

    WaitingRoom& room_;
    QObject context_; // events for an object that is gone are dropped with it
    std::coroutine_handle<> coroutine_;
    bool isOver_ = false;
};

// The awaitable of a wait, or of a class derived from it with a result of its own.
template <typename Wait>
auto completion(Wait& wait) {
    struct Awaiter {
        Wait* wait;

        bool await_ready() const noexcept { return wait->isReady(); }

        void await_suspend(std::coroutine_handle<> coroutine) const { wait->suspend(coroutine); }

        auto await_resume() const { return wait->result(); }
    };

    return Awaiter{&wait};
}

} // namespace Varnel
