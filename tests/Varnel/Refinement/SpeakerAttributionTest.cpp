// The transcription engine over the real recogniser and the real diarizer, with scripted networks below both.

#include "Varnel/Refinement/ChunkedDiarization.h"
#include "Varnel/Refinement/RunToEnd.h"
#include "Varnel/Refinement/TranscriptionEngine.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "support/ApplicationLogRecorder.h"
#include "support/AudioFixtures.h"
#include "support/ScriptedDiarizer.h"
#include "support/ScriptedRecogniser.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <stdexcept>

namespace Varnel {
namespace {

using Testing::ApplicationLogRecorder;
using VarnelSpeech::Testing::ScriptedDiarizer;
using VarnelSpeech::Testing::ScriptedRecogniser;
using VarnelSpeech::Testing::TemporaryFolder;
using Heard = ScriptedDiarizer::Heard;

// Frames of the diarizer (16.875 ms) in so many seconds.
std::int64_t frameAt(double seconds) {
    return static_cast<std::int64_t>(seconds / 0.016875);
}

class SpeakerAttributionTest : public ::testing::Test {
protected:
    SpeakerAttributionTest() {
        // One voice for the first local speaker, another for the second.
        networks_.voiceOf = [this](std::size_t call) { return ScriptedDiarizer::voice(call % voices_); };
        engine_ = makeEngine();
    }

    std::unique_ptr<TranscriptionEngine> makeEngine() {
        return std::make_unique<TranscriptionEngine>(
            [this] { return recogniser_.models(); },
            std::make_shared<ChunkedDiarization>([this] { return networks_.models(); }));
    }

    void hear(Heard who, double from, double to) { networks_.hear(who, frameAt(from), frameAt(to)); }

    // Tokens by the frames of 80 ms at which they begin; each lasts until the next.
    Output transcribe(double seconds, const std::map<int, int>& tokensByFrame) {
        const auto file = folder_ / "talk.wav";
        ScriptedRecogniser::writeSpokenWAV(file, seconds, tokensByFrame);
        return runToEnd(engine_->transcribe(file));
    }

    // "1: hello | 2: there"
    static QString script(const Output& output) {
        QStringList lines;
        for (const auto& segment : output.segments)
            lines += QStringLiteral("%1: %2").arg(segment.speakerKey, segment.text);
        return lines.join(QStringLiteral(" | "));
    }

    TemporaryFolder folder_;
    ApplicationLogRecorder log_;
    ScriptedRecogniser recogniser_{{"▁hello", "▁there", "▁good", "bye", "▁"}};
    ScriptedDiarizer networks_;
    std::size_t voices_ = 2;
    std::unique_ptr<TranscriptionEngine> engine_;
};

TEST_F(SpeakerAttributionTest, GivesEachVoiceItsWords) {
    hear(Heard::first, 0, 2);
    hear(Heard::second, 2, 4);
    const Output output = transcribe(4, {{5, 1}, {10, 2}, {30, 3}, {31, 4}});
    EXPECT_EQ(script(output), QStringLiteral("1: hello there | 2: goodbye"));
    EXPECT_EQ(output.segments[0].embedding, ScriptedDiarizer::voice(0));
    EXPECT_EQ(output.segments[1].embedding, ScriptedDiarizer::voice(1));
    EXPECT_NEAR(output.segments[1].startTime, 2.4, 1e-9);
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(SpeakerAttributionTest, ChangesSpeakersForASingleWord) {
    hear(Heard::first, 0, 1.5);
    hear(Heard::second, 1.5, 3);
    hear(Heard::first, 3, 5);
    EXPECT_EQ(script(transcribe(5, {{5, 1}, {25, 2}, {45, 1}, {50, 2}})),
              QStringLiteral("1: hello | 2: there | 1: hello there"));
}

TEST_F(SpeakerAttributionTest, GivesAWordInAPauseToWhoBeginsNearest) {
    hear(Heard::first, 0, 1.2);
    hear(Heard::second, 3, 4.5);
    // At 1.64 s: the first speaker has ended less than half a second ago, but the second begins nearer.
    EXPECT_EQ(script(transcribe(6, {{5, 1}, {20, 2}})), QStringLiteral("1: hello | 2: there"));
    // At 4.84 s, after everybody.
    EXPECT_EQ(script(transcribe(6, {{5, 1}, {15, 1}, {60, 2}})), QStringLiteral("1: hello | 2: hello there"));
}

TEST_F(SpeakerAttributionTest, DropsAStretchWithoutText) {
    hear(Heard::first, 0, 1.5);
    hear(Heard::second, 1.5, 3);
    hear(Heard::first, 3, 5);
    EXPECT_EQ(script(transcribe(5, {{5, 1}, {25, 5}, {45, 2}})), QStringLiteral("1: hello | 1: there"));
}

TEST_F(SpeakerAttributionTest, FollowsSpeakersFromChunkToChunk) {
    voices_ = 1;
    hear(Heard::second, 0, 10);
    EXPECT_EQ(script(transcribe(25, {{5, 1}, {150, 2}, {290, 1}})), QStringLiteral("1: hello there hello"));
}

TEST_F(SpeakerAttributionTest, IsEmptyForSilenceWhateverTheDiarizerHears) {
    hear(Heard::first, 0, 10);
    EXPECT_TRUE(transcribe(3, {}).segments.empty());
}

TEST_F(SpeakerAttributionTest, IsOfOneSpeakerWhenTheDiarizerHearsNobody) {
    const Output output = transcribe(3, {{5, 1}, {30, 2}});
    ASSERT_EQ(output.segments.size(), 1U);
    EXPECT_EQ(output.segments[0], (Output::Segment{0, 3, QStringLiteral("hello there"), QStringLiteral("S1"), {}}));
}

TEST_F(SpeakerAttributionTest, NumbersTheSpeakersOfEachFileAnew) {
    hear(Heard::first, 0, 3);
    voices_ = 256; // another voice each time
    for (int file = 0; file < 3; ++file)
        EXPECT_EQ(script(transcribe(3, {{5, 1}})), QStringLiteral("1: hello"));
}

TEST_F(SpeakerAttributionTest, IsOfOneSpeakerWhenTheModelsAreMissing) {
    engine_ = std::make_unique<TranscriptionEngine>(
        [this] { return recogniser_.models(); }, std::make_shared<ChunkedDiarization>([this] {
            return VarnelSpeech::DiarizerModels::download(folder_ / "models/speaker-diarization-coreml", {},
                                                          VarnelSpeech::DownloadUtils::Fetching::never);
        }));
    EXPECT_EQ(script(transcribe(3, {{5, 1}})), QStringLiteral("S1: hello"));
    ASSERT_EQ(log_.lines().size(), 1);
    EXPECT_TRUE(log_.lines()[0].startsWith(QStringLiteral("Diarizer load failed: ")));
    EXPECT_TRUE(log_.lines()[0].contains(QStringLiteral("pyannote_segmentation.mlmodelc")))
        << log_.lines()[0].toStdString();
    EXPECT_TRUE(std::holds_alternative<TranscriptionEngine::Ready>(engine_->status()));
}

TEST_F(SpeakerAttributionTest, IsOfOneSpeakerWhenTheDiarizerFailsMidway) {
    hear(Heard::first, 0, 10);
    networks_.segmentation->failAt(1, "the network broke");
    EXPECT_EQ(script(transcribe(15, {{5, 1}})), QStringLiteral("S1: hello"));
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("Diarizer process failed: the network broke")});
    EXPECT_EQ(script(transcribe(15, {{5, 1}})), QStringLiteral("1: hello")); // the next file is none the worse
}

TEST_F(SpeakerAttributionTest, TellsOfBothWhenTheFileCannotBeRead) {
    VarnelSpeech::Testing::writeText(folder_ / "text.wav", "this is no audio");
    std::string text;
    try {
        runToEnd(engine_->transcribe(folder_ / "text.wav"));
    } catch (const std::exception& error) {
        text = error.what();
    }
    EXPECT_NE(text.find("not an audio file"), std::string::npos) << text;
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("Diarizer process failed: ") + QString::fromStdString(text)});
}

TEST_F(SpeakerAttributionTest, StopsTheDiarizerBetweenChunks) {
    std::stop_source stop;
    std::atomic<std::size_t> windows = 0;
    networks_.heard = [&](std::size_t window, std::int64_t) {
        windows = window + 1;
        stop.request_stop();
        return Heard::nobody;
    };
    const auto file = folder_ / "talk.wav";
    ScriptedRecogniser::writeSpokenWAV(file, 60, {{5, 1}});
    EXPECT_THROW(runToEnd(engine_->transcribe(file, {}, stop.get_token())), VarnelSpeech::Cancelled);
    EXPECT_EQ(windows, 1U);
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(SpeakerAttributionTest, ProgressWaitsForTheSlowerOfTheTwo) {
    // The recogniser goes through its windows before the diarizer begins with the second of its six.
    std::promise<void> recognised;
    std::atomic<bool> isRecognised = false;
    const auto release = recognised.get_future().share();
    networks_.heard = [&](std::size_t window, std::int64_t frame) {
        if (window == 1 && frame == 0)
            release.wait();
        return Heard::nobody;
    };
    recogniser_.onWindow = [&](std::size_t window) {
        if (window == 4 && !isRecognised.exchange(true)) // the last of five
            recognised.set_value();
    };
    constexpr double afterOneChunk = 0.05 + 0.95 / 6; // on top of the reading
    std::vector<double> values;
    const auto file = folder_ / "talk.wav";
    ScriptedRecogniser::writeSpokenWAV(file, 60, {{5, 1}});
    runToEnd(engine_->transcribe(file, [&](double value) {
        values.push_back(value);
        EXPECT_TRUE(isRecognised || value <= afterOneChunk + 1e-9) << value;
    }));
    ASSERT_FALSE(values.empty());
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    EXPECT_EQ(values.back(), 1);
    EXPECT_TRUE(isRecognised);
}

} // namespace
} // namespace Varnel
