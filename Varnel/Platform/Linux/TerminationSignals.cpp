#include "Varnel/Platform/Linux/TerminationSignals.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <thread>

namespace Varnel {

namespace {

// What the handler may touch. Blocking the signals and waiting for them would not do: libraries start threads of
// their own before main(), which do not block them.
std::atomic<int> firstSignal{0};
std::atomic<int> wakeUp{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void wake() {
    const std::uint64_t one = 1;
    static_cast<void>(!::write(wakeUp, &one, sizeof one));
}

void handle(int signal) {
    const int errorBefore = errno;
    int none = 0;
    if (!firstSignal.compare_exchange_strong(none, signal))
        _exit(128 + signal);
    wake();
    errno = errorBefore;
}

} // namespace

struct TerminationSignals::Private {
    std::stop_source source;
    std::atomic<bool> ended{false};

    struct sigaction interruptBefore {};

    struct sigaction terminateBefore {};

    std::thread waiter;

    void wait() {
        std::uint64_t count = 0;
        while (::read(wakeUp, &count, sizeof count) < 0 && errno == EINTR) {
        }
        if (!ended)
            source.request_stop();
    }
};

TerminationSignals::TerminationSignals() : d(std::make_unique<Private>()) {
    wakeUp = ::eventfd(0, EFD_CLOEXEC);
    if (wakeUp < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    firstSignal = 0;
    d->waiter = std::thread([this] { d->wait(); });

    struct sigaction action {};

    action.sa_handler = &handle;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &d->interruptBefore);
    sigaction(SIGTERM, &action, &d->terminateBefore);
}

TerminationSignals::~TerminationSignals() {
    sigaction(SIGINT, &d->interruptBefore, nullptr);
    sigaction(SIGTERM, &d->terminateBefore, nullptr);
    d->ended = true;
    wake();
    d->waiter.join();
    ::close(wakeUp.exchange(-1));
}

std::stop_token TerminationSignals::token() const {
    return d->source.get_token();
}

int TerminationSignals::received() const {
    return firstSignal;
}

} // namespace Varnel
