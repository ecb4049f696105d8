#include "VarnelSpeech/Asr/SpeechBacklog.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>

namespace VarnelSpeech::Testing {
namespace {

// Ten samples at most; three more fit after a skip.
class Backlog : public ::testing::Test {
protected:
    void append(std::size_t samples) {
        std::vector<float> audio(samples);
        for (float& sample : audio)
            sample = static_cast<float>(next_++);
        backlog.append(audio);
    }

    // The next piece as text: "<skipped before>: <first>-<last>".
    std::string take() {
        SpeechBacklog::Piece piece;
        if (!backlog.take(piece, stop.get_token()))
            return "(none)";
        const auto number = [](float sample) { return std::to_string(static_cast<int>(sample)); };
        return std::to_string(piece.skippedBefore) + ": " + number(piece.samples.front()) + "-" +
               number(piece.samples.back());
    }

    SpeechBacklog backlog{10, 3};
    std::stop_source stop;

private:
    int next_ = 0;
};

TEST_F(Backlog, GivesThePiecesAsTheyCame) {
    append(3);
    append(1);
    append(0);
    append(4);
    EXPECT_EQ(backlog.waitingSamples(), 8U);
    EXPECT_EQ(take(), "0: 0-2");
    EXPECT_EQ(take(), "0: 3-3");
    EXPECT_EQ(take(), "0: 4-7");
    EXPECT_EQ(backlog.waitingSamples(), 0U);
}

TEST_F(Backlog, HoldsWhatItMay) {
    append(4);
    append(6);
    EXPECT_EQ(backlog.waitingSamples(), 10U);
    EXPECT_EQ(take(), "0: 0-3");
}

TEST_F(Backlog, SkipsTheOldestAndSomeMoreWhenFull) {
    for (int i = 0; i < 5; ++i)
        append(2);
    append(1);
    EXPECT_EQ(backlog.waitingSamples(), 7U) << "one more, and three may follow";
    append(3);
    EXPECT_EQ(backlog.waitingSamples(), 10U);
    EXPECT_EQ(take(), "4: 4-5");
    EXPECT_EQ(take(), "0: 6-7") << "a gap is told once";
}

TEST_F(Backlog, AddsUpWhatIsSkippedUntilItIsTaken) {
    append(10);
    append(10);
    append(10);
    EXPECT_EQ(take(), "20: 20-29");
}

TEST_F(Backlog, OfALongPieceTheEndStays) {
    append(4);
    append(25);
    EXPECT_EQ(backlog.waitingSamples(), 10U);
    EXPECT_EQ(take(), "19: 19-28");
}

TEST_F(Backlog, IsReadToItsEndOnceClosed) {
    append(2);
    append(2);
    backlog.close();
    EXPECT_EQ(take(), "0: 0-1");
    EXPECT_EQ(take(), "0: 2-3");
    EXPECT_EQ(take(), "(none)");
}

TEST_F(Backlog, AStopEndsTheReadingAtOnce) {
    append(2);
    stop.request_stop();
    EXPECT_EQ(take(), "(none)");
}

TEST_F(Backlog, AWaitingReaderHearsOfAPieceOfTheEndAndOfAStop) {
    std::jthread writer([this] { append(5); });
    EXPECT_EQ(take(), "0: 0-4");
    std::jthread closer([this] { backlog.close(); });
    EXPECT_EQ(take(), "(none)");

    SpeechBacklog open{10, 3};
    std::jthread stopper([this] { stop.request_stop(); });
    SpeechBacklog::Piece piece;
    EXPECT_FALSE(open.take(piece, stop.get_token()));
}

} // namespace
} // namespace VarnelSpeech::Testing
