#include "Varnel/CommandLine/ProgressBar.h"

#include "Varnel/CommandLine/MemoryFile.h"

#include <gtest/gtest.h>

#include <limits>

namespace Varnel::CommandLine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class ProgressBarTest : public ::testing::Test {
protected:
    ProgressBar bar(ProgressBar::Visibility visibility, int columns = 80) {
        return {file.stream(), visibility, columns, [this] { return now; }};
    }

    Testing::MemoryFile file;
    std::chrono::steady_clock::time_point now{seconds(1000)};
};

TEST_F(ProgressBarTest, ShowsWhatIsDoneAndHowLongItWillTake) {
    {
        auto progress = bar(ProgressBar::Visibility::shown);
        progress.begin("Transcribing talk.wav");
        now += seconds(30);
        progress.update(0.25, "part one");
    }
    EXPECT_EQ(file.text(), "\r\x1b[KTranscribing talk.wav ..."
                           "\r\x1b[KTranscribing talk.wav  [######..................]  25%  part one  1:30 left"
                           "\r\x1b[K");
}

TEST_F(ProgressBarTest, ShowsNothingWhenItIsHidden) {
    {
        auto progress = bar(ProgressBar::Visibility::hidden);
        progress.begin("Transcribing");
        progress.update(0.5);
        progress.clear();
    }
    EXPECT_EQ(file.text(), "");
}

TEST_F(ProgressBarTest, RedrawsTenTimesASecond) {
    auto progress = bar(ProgressBar::Visibility::shown);
    progress.begin("Work");
    progress.update(0.1);
    const std::string once = file.text();
    for (int i = 0; i < 9; ++i) {
        now += milliseconds(10);
        progress.update(0.2);
    }
    EXPECT_EQ(file.text(), once);
    now += milliseconds(10);
    progress.update(0.3);
    EXPECT_NE(file.text(), once);
}

TEST_F(ProgressBarTest, NeverFillsTheLineAndHarmsNoTerminal) {
    auto progress = bar(ProgressBar::Visibility::shown, 40);
    progress.begin(std::string("\x1b[2J\n").append(100, 'x'));
    EXPECT_EQ(file.text(), "\r\x1b[K\\x1B[2J\\n" + std::string(30, 'x'));
}

TEST(RemainingTime, IsTheRestAtTheSpeedSoFar) {
    EXPECT_EQ(remainingTime(0.5, seconds(10)), "0:10");
    EXPECT_EQ(remainingTime(0.1, seconds(600)), "1:30:00");
    EXPECT_EQ(remainingTime(1.0, seconds(10)), "0:00");
}

TEST(RemainingTime, IsNotGuessedFromNothing) {
    EXPECT_EQ(remainingTime(0.0, seconds(10)), std::nullopt);
    EXPECT_EQ(remainingTime(0.5, milliseconds(10)), std::nullopt);
    EXPECT_EQ(remainingTime(std::numeric_limits<double>::quiet_NaN(), seconds(10)), std::nullopt);
}

TEST(ByteText, HasOneDigitAfterThePoint) {
    EXPECT_EQ(byteText(0), "0 B");
    EXPECT_EQ(byteText(999), "999 B");
    EXPECT_EQ(byteText(1000), "1.0 kB");
    EXPECT_EQ(byteText(999'949), "999.9 kB");
    EXPECT_EQ(byteText(999'950), "1.0 MB");
    EXPECT_EQ(byteText(12'345'678'901), "12.3 GB");
    EXPECT_EQ(byteText(std::numeric_limits<std::uint64_t>::max()), "18446744.1 TB");
}

} // namespace
} // namespace Varnel::CommandLine
