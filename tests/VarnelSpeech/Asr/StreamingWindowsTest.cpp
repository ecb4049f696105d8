#include "VarnelSpeech/Asr/StreamingWindows.h"

#include "VarnelSpeech/Asr/ScriptedRecognizer.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>

namespace VarnelSpeech::Testing {
namespace {

// Sample i of the stream is i.
class NumberedStream {
public:
    explicit NumberedStream(const StreamingAsrConfig& config) : windows(config) {}

    void hear(std::int64_t samples) {
        std::vector<float> audio(static_cast<std::size_t>(samples));
        for (float& sample : audio)
            sample = static_cast<float>(next_++);
        windows.append(audio);
    }

    std::int64_t skip(std::int64_t samples) {
        next_ += samples;
        return windows.skip(samples);
    }

    StreamingWindows windows;

private:
    std::int64_t next_ = 0;
};

// A window's numbers, out of its samples.
struct Span {
    std::int64_t first;
    std::int64_t samples;
    std::int64_t newSamples;
    bool isLast;

    bool operator==(const Span&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Span& span) {
    return out << span.first << " + " << span.samples << ", new " << span.newSamples << (span.isLast ? ", last" : "");
}

// Takes the next window; its audio must be what lies at its place.
std::optional<Span> take(NumberedStream& stream, std::optional<StreamingWindows::Window> window) {
    if (!window)
        return std::nullopt;
    for (std::size_t i = 0; i < window->samples.size(); ++i)
        if (window->samples[i] != static_cast<float>(window->start + static_cast<std::int64_t>(i)))
            return Span{-1, 0, 0, false};
    const Span span{window->start, static_cast<std::int64_t>(window->samples.size()), window->newSamples,
                    window->isLast};
    stream.windows.advance(*window);
    return span;
}

std::optional<Span> next(NumberedStream& stream) {
    return take(stream, stream.windows.next());
}

std::optional<Span> nextAtEnd(NumberedStream& stream) {
    return take(stream, stream.windows.nextAtEnd());
}

class LiveWindows : public ::testing::Test {
protected:
    NumberedStream stream{StreamingAsrConfig::liveCaptions()};
};

TEST_F(LiveWindows, TheFirstGoesAtThreeAndAHalfSeconds) {
    stream.hear(55999);
    EXPECT_EQ(next(stream), std::nullopt);
    stream.hear(1);
    EXPECT_EQ(next(stream), (Span{0, 56000, 48000, false}));
    EXPECT_EQ(next(stream), std::nullopt);
}

TEST_F(LiveWindows, TheSecondGoesAtSixAndAHalfSecondsWithASecondHeardBefore) {
    stream.hear(103999);
    ASSERT_TRUE(next(stream));
    EXPECT_EQ(next(stream), std::nullopt);
    stream.hear(1);
    EXPECT_EQ(next(stream), (Span{32000, 72000, 48000, false}));
}

TEST_F(LiveWindows, AShortStreamIsOneWindowFromItsStartToItsEnd) {
    stream.hear(20000);
    EXPECT_EQ(next(stream), std::nullopt);
    EXPECT_EQ(nextAtEnd(stream), (Span{0, 20000, 20000, true}));
    EXPECT_EQ(nextAtEnd(stream), std::nullopt);
}

TEST_F(LiveWindows, AStreamBetweenAChunkAndAWindowEndsWithTwo) {
    stream.hear(50000);
    EXPECT_EQ(next(stream), std::nullopt);
    EXPECT_EQ(nextAtEnd(stream), (Span{0, 48000, 48000, false}));
    EXPECT_EQ(nextAtEnd(stream), (Span{32000, 18000, 2000, true}));
    EXPECT_EQ(nextAtEnd(stream), std::nullopt);
}

TEST_F(LiveWindows, AudioThatEndsWithAWindowLeavesTheRightContext) {
    stream.hear(56000);
    ASSERT_TRUE(next(stream));
    EXPECT_EQ(nextAtEnd(stream), (Span{32000, 24000, 8000, true}));
    EXPECT_EQ(nextAtEnd(stream), std::nullopt);
}

TEST_F(LiveWindows, NoAudioIsNoWindow) {
    EXPECT_EQ(next(stream), std::nullopt);
    EXPECT_EQ(nextAtEnd(stream), std::nullopt);
}

TEST_F(LiveWindows, KeepTheLeftContextAndWhatIsNew) {
    stream.hear(56000);
    ASSERT_TRUE(next(stream));
    EXPECT_EQ(stream.windows.bufferStartIndex(), 32000);
    EXPECT_EQ(stream.windows.nextWindowCenterStart(), 48000);
    EXPECT_EQ(stream.windows.bufferEnd(), 56000);
}

TEST_F(LiveWindows, GoOnBehindAGapAtTheirOwnPlace) {
    stream.hear(56000);
    ASSERT_TRUE(next(stream));
    EXPECT_EQ(stream.skip(100000), 108000) << "with the 8000 that wait for a window";
    stream.hear(104000);
    EXPECT_EQ(next(stream), (Span{156000, 56000, 48000, false})) << "nothing lies before it";
    EXPECT_EQ(next(stream), (Span{188000, 72000, 48000, false}));
    EXPECT_EQ(stream.windows.bufferEnd(), 260000);
}

TEST_F(LiveWindows, BeginAtZeroAfterAReset) {
    stream.hear(104000);
    ASSERT_TRUE(next(stream));
    stream.windows.reset();
    EXPECT_EQ(stream.windows.bufferEnd(), 0);
    EXPECT_EQ(nextAtEnd(stream), std::nullopt);
    NumberedStream afresh{StreamingAsrConfig::liveCaptions()};
    afresh.windows.reset();
    afresh.hear(56000);
    EXPECT_EQ(next(afresh), (Span{0, 56000, 48000, false}));
}

// Whatever the lengths and however the stream is cut: the new audio of the windows is the whole stream, in order and
// once; each window has its contexts as far as there are any; what is kept stays small.
TEST(StreamingWindowsProperty, WindowsCoverTheStreamWithoutGap) {
    EXPECT_TRUE(rc::check([] {
        const auto chunk = *rc::gen::inRange<std::int64_t>(1, 400);
        const auto left = *rc::gen::inRange<std::int64_t>(0, 300);
        const auto right = *rc::gen::inRange<std::int64_t>(0, 200);
        const auto buffers = *rc::gen::container<std::vector<std::int64_t>>(rc::gen::inRange<std::int64_t>(0, 700));
        StreamingAsrConfig config;
        // Half a sample more, so that truncation gives the number back.
        config.chunkSeconds = (static_cast<double>(chunk) + 0.5) / 16000;
        config.leftContextSeconds = (static_cast<double>(left) + 0.5) / 16000;
        config.rightContextSeconds = (static_cast<double>(right) + 0.5) / 16000;
        NumberedStream stream(config);
        std::int64_t total = 0;
        std::int64_t covered = 0;
        const auto check = [&](const Span& span) {
            RC_ASSERT(span.first == std::max<std::int64_t>(0, covered - left));
            covered += span.newSamples;
        };
        for (const std::int64_t samples : buffers) {
            stream.hear(samples);
            total += samples;
            while (const auto span = next(stream)) {
                check(*span);
                RC_ASSERT(span->newSamples == chunk);
                RC_ASSERT(span->first + span->samples == covered + right);
            }
            RC_ASSERT(stream.windows.bufferEnd() - stream.windows.bufferStartIndex() < left + chunk + right);
            RC_ASSERT(total - covered < chunk + right);
        }
        bool isEnded = total == 0;
        while (const auto span = nextAtEnd(stream)) {
            RC_ASSERT(!isEnded);
            check(*span);
            RC_ASSERT(span->first + span->samples == covered);
            isEnded = span->isLast;
        }
        RC_ASSERT(covered == total);
        RC_ASSERT(isEnded || right == 0);
    }));
}

} // namespace
} // namespace VarnelSpeech::Testing
