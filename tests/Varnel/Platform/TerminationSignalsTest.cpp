#include "Varnel/Platform/Linux/TerminationSignals.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Varnel {
namespace {

void waitForStop(const std::stop_token& token) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait(lock, token, [] { return false; });
}

TEST(TerminationSignals, TurnsASignalIntoAStop) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const TerminationSignals signals;
        EXPECT_FALSE(signals.token().stop_requested());
        EXPECT_EQ(signals.received(), 0);
        ASSERT_EQ(kill(getpid(), signal), 0);
        waitForStop(signals.token());
        EXPECT_EQ(signals.received(), signal);
    }
}

TEST(TerminationSignals, TakesASignalWhateverThreadGetsIt) {
    std::jthread other([](const std::stop_token& stop) { waitForStop(stop); }); // as libraries start them
    const TerminationSignals signals;
    ASSERT_EQ(pthread_kill(other.native_handle(), SIGINT), 0);
    waitForStop(signals.token());
    EXPECT_EQ(signals.received(), SIGINT);
}

TEST(TerminationSignals, GivesTheSignalsBackAtItsEnd) {
    { const TerminationSignals signals; }

    struct sigaction action {};

    for (const int signal : {SIGINT, SIGTERM}) {
        ASSERT_EQ(sigaction(signal, nullptr, &action), 0);
        EXPECT_EQ(action.sa_handler, SIG_DFL);
    }
}

TEST(TerminationSignals, LetsASecondSignalEndTheProcessAtOnce) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(30);
        const TerminationSignals signals;
        kill(getpid(), SIGTERM);
        waitForStop(signals.token());
        kill(getpid(), SIGINT);
        for (;;)
            pause(); // as work does that takes no notice
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}

} // namespace
} // namespace Varnel
