#include "Varnel/Platform/Linux/SystemClock.h"

#include "support/EventLoop.h"

#include <gtest/gtest.h>

#include <vector>

namespace Varnel {
namespace {

void runUntil(const bool& done) {
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

TEST(SystemClock, TellsTheTimeInUTC) {
    const SystemClock clock;
    EXPECT_EQ(clock.now().timeSpec(), Qt::UTC);
    const auto first = clock.monotonic();
    EXPECT_LE(first, clock.monotonic());
}

TEST(SystemClock, CallsInTheOrderOfTheDelays) {
    SystemClock clock;
    std::vector<int> order;
    bool done = false;
    clock.callAfter(std::chrono::milliseconds(20), [&] {
        order.push_back(2);
        done = true;
    });
    clock.callAfter(std::chrono::milliseconds(0), [&] { order.push_back(1); });
    runUntil(done);
    EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST(SystemClock, DoesNotCallWhatWasCancelled) {
    SystemClock clock;
    bool done = false;
    bool called = false;
    const int id = clock.callAfter(std::chrono::milliseconds(0), [&] { called = true; });
    clock.callAfter(std::chrono::milliseconds(5), [&] { done = true; });
    clock.cancel(id);
    clock.cancel(id);
    runUntil(done);
    EXPECT_FALSE(called);
}

TEST(SystemClock, MayBeAskedAgainFromWhatItCalls) {
    SystemClock clock;
    bool done = false;
    clock.callAfter(std::chrono::milliseconds(0),
                    [&] { clock.callAfter(std::chrono::milliseconds(0), [&done] { done = true; }); });
    runUntil(done);
    EXPECT_TRUE(done);
}

} // namespace
} // namespace Varnel
