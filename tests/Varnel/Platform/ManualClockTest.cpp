#include "support/ManualClock.h"

#include <gtest/gtest.h>

namespace Varnel::Testing {
namespace {

using namespace std::chrono_literals;

TEST(ManualClock, StandsUntilItIsAdvanced) {
    ManualClock clock;
    const QDateTime start = clock.now();
    EXPECT_EQ(clock.now(), start);
    clock.advance(250ms);
    EXPECT_EQ(start.msecsTo(clock.now()), 250);
    EXPECT_EQ(clock.monotonic().time_since_epoch(), 250ms);
}

TEST(ManualClock, RunsActionsInTheOrderOfTheirTimesAndAtThem) {
    ManualClock clock;
    std::vector<std::pair<int, std::chrono::steady_clock::duration>> calls;
    const auto note = [&](int number) {
        return [&, number] { calls.emplace_back(number, clock.monotonic().time_since_epoch()); };
    };
    clock.callAfter(200ms, note(2));
    clock.callAfter(100ms, [&] {
        note(1)();
        clock.callAfter(50ms, note(3));
    });
    const int cancelled = clock.callAfter(100ms, note(4));
    clock.cancel(cancelled);
    clock.advance(99ms);
    EXPECT_TRUE(calls.empty());
    clock.advance(1s);
    EXPECT_EQ(calls,
              (std::vector<std::pair<int, std::chrono::steady_clock::duration>>{{1, 100ms}, {3, 150ms}, {2, 200ms}}));
}

} // namespace
} // namespace Varnel::Testing
