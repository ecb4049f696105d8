#include "VarnelSpeech/Shared/PerformanceMonitor.h"

#include "support/LogRecorder.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>

using namespace VarnelSpeech;
using Testing::LogRecorder;
using Level = AppLogger::Level;

namespace {

// A clock that stands still until it is moved.
struct ManualSeconds {
    std::shared_ptr<double> value = std::make_shared<double>(100.0);

    PerformanceMonitor::Seconds now() const {
        return [value = value] { return *value; };
    }
};

} // namespace

TEST(PerformanceMonitor, LogsAnOperationAndItsSeconds) {
    LogRecorder log;
    ManualSeconds clock;
    PerformanceMonitor monitor(clock.now());
    const int result = monitor.measure("transcribe", 12.5, [&] {
        *clock.value += 1.5;
        return 7;
    });
    EXPECT_EQ(result, 7);
    const std::vector<LogRecorder::Line> expected{
        {Level::debug, "Performance", "begin ASR.Operation 1: transcribe, 12.500s of audio"},
        {Level::debug, "Performance", "end ASR.Operation 1"},
        {Level::info, "Performance", "transcribe completed: 1.500s"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST(PerformanceMonitor, LogsAComponentInsideAnOperation) {
    LogRecorder log;
    ManualSeconds clock;
    PerformanceMonitor monitor(clock.now());
    monitor.measure("transcribe", std::nullopt, [&] {
        monitor.measureComponent("encoder", [&] { *clock.value += 0.25; });
        *clock.value += 1;
    });
    EXPECT_EQ(log.messages(Level::info),
              (std::vector<std::string>{"encoder completed: 0.250s", "transcribe completed: 1.250s"}));
    EXPECT_EQ(log.messages(Level::debug),
              (std::vector<std::string>{"begin ASR.Operation 1: transcribe", "begin ASR.Component 2: encoder",
                                        "end ASR.Component 2", "end ASR.Operation 1"}));
}

TEST(PerformanceMonitor, PassesErrorsAndMoveOnlyResultsThrough) {
    LogRecorder log;
    PerformanceMonitor monitor;
    EXPECT_THROW(monitor.measure("load", std::nullopt, []() -> int { throw std::runtime_error("no model"); }),
                 std::runtime_error);
    EXPECT_TRUE(log.messages(Level::info).empty());
    EXPECT_EQ(log.messages(Level::debug).back(), "end ASR.Operation 1");
    const std::unique_ptr<int> owned = monitor.measureComponent("make", [] { return std::make_unique<int>(3); });
    EXPECT_EQ(*owned, 3);
}

TEST(PerformanceMonitor, HasNoAggregateWithoutMetrics) {
    EXPECT_EQ(PerformanceMonitor().aggregatedMetrics(), std::nullopt);
}

TEST(PerformanceMonitor, AggregatesPlainMeansAndTheLargestMemory) {
    PerformanceMonitor monitor;
    monitor.record({0, 0, 0, 1.0, 10.0F, 500.0F, {}});
    monitor.record({0, 0, 0, 2.0, 20.0F, 900.0F, {}});
    monitor.record({0, 0, 0, 6.0, 60.0F, 100.0F, {}});
    EXPECT_EQ(monitor.aggregatedMetrics(), (AggregatedMetrics{30.0F, 3.0, 900.0F, 3}));
}

TEST(PerformanceMonitor, CountsRecordsOfManyThreads) {
    PerformanceMonitor monitor;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&monitor] {
                for (int count = 0; count < 100; ++count)
                    monitor.record({0, 0, 0, 1.0, 2.0F, 3.0F, {}});
            });
    }
    EXPECT_EQ(monitor.aggregatedMetrics(), (AggregatedMetrics{2.0F, 1.0, 3.0F, 400}));
}

TEST(Signposter, ReportsASecondEndOfOneInterval) {
    LogRecorder log;
    Signposter signposter(AppLogger("Performance"));
    Signposter::Interval interval = signposter.beginInterval("ASR.Operation");
    signposter.endInterval(interval);
    signposter.endInterval(interval);
    EXPECT_EQ(log.messages(Level::debug),
              (std::vector<std::string>{"begin ASR.Operation 1", "end ASR.Operation 1",
                                        "end ASR.Operation 1: [Error] Interval already ended"}));
}
