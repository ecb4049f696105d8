#include "Varnel/Platform/ApplicationLog.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace Varnel {
namespace {

TEST(ApplicationLog, LinesGoNowhereWithoutASink) {
    const LogSink before = setLogSink({});
    log(QStringLiteral("nobody hears this"));
    EXPECT_FALSE(setLogSink(before));
}

TEST(ApplicationLog, LinesGoToTheSinkThatIsInstalled) {
    QStringList first;
    QStringList second;
    const LogSink before = setLogSink([&](const QString& line) { first += line; });
    log(QStringLiteral("one"));
    const LogSink replaced = setLogSink([&](const QString& line) { second += line; });
    log(QStringLiteral("two"));
    replaced(QStringLiteral("by hand"));
    setLogSink(before);
    log(QStringLiteral("three"));
    EXPECT_EQ(first, (QStringList{QStringLiteral("one"), QStringLiteral("by hand")}));
    EXPECT_EQ(second, QStringList{QStringLiteral("two")});
}

TEST(ApplicationLog, TheSinkGetsOneLineAtATimeFromAllThreads) {
    QStringList lines; // not locked: the log does that
    const LogSink before = setLogSink([&](const QString& line) { lines += line; });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([] {
            for (int i = 0; i < 250; ++i)
                log(QStringLiteral("line"));
        });
    for (auto& thread : threads)
        thread.join();
    setLogSink(before);
    EXPECT_EQ(lines.size(), 1000);
}

} // namespace
} // namespace Varnel
