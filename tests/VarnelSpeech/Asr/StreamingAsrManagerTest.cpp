// A stream's life and its texts, with a recogniser that hears what it is told.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/StreamingFixture.h"
#include "VarnelSpeech/Shared/Cancelled.h"
#include "support/EnvironmentScope.h"
#include "support/LogRecorder.h"
#include "support/ScriptedRecogniser.h"
#include "support/ScriptedTransducer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace VarnelSpeech::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Level = AppLogger::Level;
using Texts = std::vector<std::string>;

// Windows of 4 s, which is 50 encoder frames, without context.
StreamingAsrConfig plainWindows(double minContext = 2.0) {
    return {4.0, 1.0, 0.0, 0.0, minContext, 0.6};
}

class StreamingAsrManagerTest : public ::testing::Test {
protected:
    // A word in the middle of each of some windows; 0 is silence. A second at a time.
    void say(StreamingAsrManager& stream, const std::vector<int>& words) {
        std::map<int, int> tokens;
        for (std::size_t window = 0; window < words.size(); ++window)
            if (words[window] != 0)
                tokens[static_cast<int>(window) * 50 + 30] = words[window];
        streamInPieces(stream, ScriptedRecogniser::spokenAudio(4.0 * static_cast<double>(words.size()), tokens), 16000);
    }

    Texts streamMessages(Level level) const {
        Texts messages;
        for (const auto& line : log.lines())
            if (line.level == level && line.category == "StreamingASR")
                messages.push_back(line.message);
        return messages;
    }

    const LogRecorder log;
    ScriptedRecogniser recogniser{{"▁hello", "▁grüne", "▁Welt", "."}};
    Updates updates;
};

TEST_F(StreamingAsrManagerTest, SaysHowItIsConfigured) {
    const StreamingAsrManager live(StreamingAsrConfig::liveCaptions());
    const StreamingAsrManager standard;
    EXPECT_THAT(streamMessages(Level::info),
                ElementsAre("Initialized StreamingAsrManager with config: chunk=3.0s left=1.0s right=0.5s",
                            "Initialized StreamingAsrManager with config: chunk=15.0s left=10.0s right=2.0s"));
    EXPECT_EQ(standard.config(), StreamingAsrConfig{});
    EXPECT_EQ(standard.audioSource(), AudioSource::microphone);
    EXPECT_EQ(standard.startTime(), std::nullopt);
    EXPECT_EQ(standard.processedChunks(), 0);
}

TEST_F(StreamingAsrManagerTest, GivesEachWindowsTextAndTheWholeAtTheEnd) {
    SteppingDate date(std::chrono::milliseconds(125));
    StreamingAsrManager stream(plainWindows(), {{}, [&] { return date.now(); }});
    stream.transcriptionUpdates(updates.sink());
    stream.start(recogniser.models());
    EXPECT_EQ(stream.startTime(), SteppingDate::start());
    say(stream, {1, 2, 3});
    EXPECT_EQ(stream.finish(), "hello grüne Welt");
    EXPECT_EQ(stream.processedChunks(), 3);
    EXPECT_EQ(stream.confirmedTranscript(), "hello grüne");
    EXPECT_EQ(stream.volatileTranscript(), "Welt");

    const std::vector<Update> all = updates.all();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(updates.texts(), (Texts{"hello", "grüne", "Welt"}));
    EXPECT_TRUE(all[0].isConfirmed) << "though there was nothing to confirm yet";
    EXPECT_FLOAT_EQ(all[1].confidence, 0.9F);
    EXPECT_EQ(all[1].tokenIds, std::vector<int>{2});
    ASSERT_EQ(all[1].tokenTimings.size(), 1U);
    EXPECT_DOUBLE_EQ(all[1].tokenTimings[0].startTime, 80 * 0.08) << "from the stream's start";
    EXPECT_EQ(all[1].tokenTimings[0].token, " grüne");
    EXPECT_EQ(all[0].timestamp, SteppingDate::start() + 3 * std::chrono::milliseconds(125));

    EXPECT_THAT(streamMessages(Level::debug),
                ElementsAre("Chunk 1: 'hello', time: 0.125s)",
                            "CONFIRMED (0.9, 4.0s context): promoted to confirmed; new volatile 'hello'",
                            "Chunk 2: 'grüne', time: 0.125s)",
                            "CONFIRMED (0.9, 8.0s context): promoted to confirmed; new volatile 'grüne'",
                            "Chunk 3: 'Welt', time: 0.125s)",
                            "CONFIRMED (0.9, 12.0s context): promoted to confirmed; new volatile 'Welt'"));
    EXPECT_THAT(streamMessages(Level::error), IsEmpty());
}

TEST_F(StreamingAsrManagerTest, LogsItsStartAndItsEnd) {
    StreamingAsrManager stream(plainWindows());
    stream.start(recogniser.models(), AudioSource::system);
    ASSERT_TRUE(log.waitFor("Recognition task started"));
    EXPECT_EQ(stream.audioSource(), AudioSource::system);
    say(stream, {2});
    stream.finish();
    Texts messages = streamMessages(Level::info);
    ASSERT_EQ(messages.size(), 7U);
    // The task's first line and that of the start come from two threads.
    std::sort(messages.begin() + 2, messages.begin() + 4);
    EXPECT_THAT(messages, ElementsAre(HasSubstr("Initialized"),
                                      "Starting streaming ASR engine with pre-loaded models for source: system...",
                                      "Recognition task started, waiting for audio...",
                                      "Streaming ASR engine started successfully", "Finishing streaming ASR...",
                                      "Recognition task completed", "Final transcription: 5 characters"));
}

TEST_F(StreamingAsrManagerTest, ASilentWindowLosesTheTextBeforeItButNotForTheEnd) {
    StreamingAsrManager stream(plainWindows());
    Texts confirmed;
    stream.transcriptionUpdates([&](const Update&) { confirmed.push_back(stream.confirmedTranscript()); });
    stream.start(recogniser.models());
    say(stream, {1, 0, 2, 3});
    EXPECT_EQ(stream.finish(), "hello grüne Welt");
    EXPECT_EQ(confirmed, (Texts{"", "", "", "grüne"}));
    EXPECT_THAT(streamMessages(Level::debug),
                ::testing::Contains("VOLATILE (0.1): low confidence - updated volatile ''"));
}

TEST_F(StreamingAsrManagerTest, ConfirmsNothingBeforeTheLeastAudio) {
    StreamingAsrManager stream(plainWindows(8.0));
    stream.transcriptionUpdates(updates.sink());
    stream.start(recogniser.models());
    say(stream, {1, 2});
    stream.finish();
    ASSERT_EQ(updates.all().size(), 2U);
    EXPECT_FALSE(updates.all()[0].isConfirmed);
    EXPECT_TRUE(updates.all()[1].isConfirmed);
    EXPECT_THAT(streamMessages(Level::debug),
                ::testing::Contains("VOLATILE (0.9): insufficient context (4.0s) - updated volatile 'hello'"));
}

TEST_F(StreamingAsrManagerTest, CountsTheAudioThatHasComeNotTheWindowsEnd) {
    StreamingAsrManager stream(plainWindows(8.0));
    stream.transcriptionUpdates(updates.sink());
    stream.start(recogniser.models());
    stream.streamAudio(speechBuffer(ScriptedRecogniser::spokenAudio(9.0, {{30, 1}})));
    stream.finish();
    ASSERT_EQ(updates.all().size(), 3U);
    EXPECT_TRUE(updates.all()[0].isConfirmed);
    EXPECT_EQ(stream.confirmedTranscript(), "");
}

TEST_F(StreamingAsrManagerTest, AStreamWithoutWordsEndsWithAnEmptyText) {
    StreamingAsrManager neverStarted;
    EXPECT_EQ(neverStarted.finish(), "");
    StreamingAsrManager noAudio(plainWindows());
    noAudio.start(recogniser.models());
    EXPECT_EQ(noAudio.finish(), "");
    EXPECT_EQ(noAudio.finish(), "") << "again";
    StreamingAsrManager silence(plainWindows());
    silence.start(recogniser.models());
    say(silence, {0, 0});
    EXPECT_EQ(silence.finish(), "");
    EXPECT_EQ(silence.processedChunks(), 2);
    EXPECT_EQ(streamMessages(Level::info).back(), "Final transcription: 0 characters");
}

TEST_F(StreamingAsrManagerTest, AudioWaitsForTheStart) {
    StreamingAsrManager stream(plainWindows());
    say(stream, {1, 2});
    stream.start(recogniser.models());
    EXPECT_EQ(stream.finish(), "hello grüne");
}

TEST_F(StreamingAsrManagerTest, AudioAfterTheEndIsIgnored) {
    StreamingAsrManager stream(plainWindows());
    stream.start(recogniser.models());
    say(stream, {1});
    stream.finish();
    say(stream, {2});
    EXPECT_EQ(stream.finish(), "hello");
}

TEST_F(StreamingAsrManagerTest, StartsOnce) {
    StreamingAsrManager stream(plainWindows());
    stream.start(recogniser.models());
    try {
        stream.start(recogniser.models(), AudioSource::system);
        FAIL() << "a second start";
    } catch (const StreamingAsrError& error) {
        EXPECT_STREQ(error.what(), "A stream already exists for source: system");
    }
    EXPECT_EQ(stream.audioSource(), AudioSource::microphone);
    say(stream, {1});
    EXPECT_EQ(stream.finish(), "hello");
    EXPECT_THROW(stream.start(recogniser.models()), StreamingAsrError);
}

TEST_F(StreamingAsrManagerTest, RefusesAConfigurationWithoutWindows) {
    for (const double chunk : {0.0, -3.0, 1e300}) {
        StreamingAsrConfig config = plainWindows();
        config.chunkSeconds = chunk;
        StreamingAsrManager impossible(config);
        EXPECT_THROW(impossible.start(recogniser.models()), StreamingAsrError) << chunk;
        impossible.streamAudio(speechBuffer(std::vector<float>(16000)));
        EXPECT_EQ(impossible.finish(), "");
    }
}

TEST_F(StreamingAsrManagerTest, AStartThatFailsCanBeTriedAgain) {
    AsrModels broken = recogniser.models();
    broken.decoder = nullptr;
    StreamingAsrManager stream(plainWindows());
    EXPECT_THROW(stream.start(broken), ASRError);
    EXPECT_EQ(stream.startTime(), std::nullopt);
    stream.start(recogniser.models());
    say(stream, {3});
    EXPECT_EQ(stream.finish(), "Welt");
}

TEST_F(StreamingAsrManagerTest, AStartWithoutModelsLoadsThem) {
    StreamingAsrManager stream(plainWindows(), {[this](const std::stop_token&) { return recogniser.models(); }, {}});
    stream.start(AudioSource::microphone);
    say(stream, {1});
    EXPECT_EQ(stream.finish(), "hello");
    EXPECT_THAT(streamMessages(Level::info),
                ::testing::IsSupersetOf({"Starting streaming ASR engine for source: microphone...",
                                         "Starting streaming ASR engine with pre-loaded models for source: "
                                         "microphone...",
                                         "Streaming ASR engine started successfully"}));
}

TEST_F(StreamingAsrManagerTest, AStartWhoseModelsDoNotLoadPassesTheErrorOn) {
    StreamingAsrManager stream(
        plainWindows(),
        {[](const std::stop_token&) -> AsrModels { throw AsrModelsError::loadingFailed("nothing there"); }, {}});
    EXPECT_THROW(stream.start(), AsrModelsError);
    EXPECT_EQ(stream.finish(), "");
}

TEST_F(StreamingAsrManagerTest, LoadsFromTheDefaultCacheUnlessToldOtherwise) {
    const TemporaryFolder data;
    EnvironmentScope environment;
    environment.set("XDG_DATA_HOME", data.path().string());
    const auto cache = AsrModels::defaultCacheDirectory();
    std::filesystem::create_directories(cache.parent_path());
    std::filesystem::copy(VARNEL_SOURCE_DIR "/models/starter/parakeet-tdt-0.6b-v3-coreml", cache,
                          std::filesystem::copy_options::recursive);
    StreamingAsrManager stream(StreamingAsrConfig::liveCaptions());
    stream.start(AudioSource::system);
    stream.streamAudio(speechBuffer(std::vector<float>(60000)));
    stream.finish();
    EXPECT_EQ(stream.processedChunks(), 2);
    EXPECT_THAT(streamMessages(Level::error), IsEmpty());
}

TEST_F(StreamingAsrManagerTest, ACancelEndsTheStreamAndItsUpdates) {
    StreamingAsrManager stream(plainWindows());
    stream.transcriptionUpdates(updates.sink());
    stream.start(recogniser.models());
    say(stream, {1});
    updates.waitFor(1);
    stream.cancel();
    say(stream, {2, 3});
    EXPECT_EQ(stream.finish(), "hello");
    EXPECT_EQ(updates.all().size(), 1U);
    EXPECT_THAT(streamMessages(Level::info), ::testing::Contains("StreamingAsrManager cancelled"));
    EXPECT_THAT(streamMessages(Level::info), ::testing::Not(::testing::Contains("Recognition task completed")));
}

TEST_F(StreamingAsrManagerTest, ACancelEndsALoadInWork) {
    Gate gate;
    StreamingAsrManager stream(plainWindows(), {[&](const std::stop_token& stop) -> AsrModels {
                                                    gate.pass();
                                                    if (stop.stop_requested())
                                                        throw Cancelled();
                                                    return recogniser.models();
                                                },
                                                {}});
    std::jthread canceller([&] {
        gate.waitUntilReached();
        stream.cancel();
        gate.open();
    });
    EXPECT_THROW(stream.start(), Cancelled);
}

TEST_F(StreamingAsrManagerTest, AResetStartsAfresh) {
    SteppingDate date(std::chrono::seconds(1));
    StreamingAsrManager stream(plainWindows(), {{}, [&] { return date.now(); }});
    stream.transcriptionUpdates(updates.sink());
    stream.start(recogniser.models(), AudioSource::system);
    say(stream, {1, 2});
    updates.waitFor(2);
    stream.reset();
    EXPECT_EQ(stream.confirmedTranscript() + stream.volatileTranscript(), "");
    EXPECT_EQ(stream.processedChunks(), 0);
    EXPECT_GT(stream.startTime(), SteppingDate::start());
    EXPECT_EQ(streamMessages(Level::info).back(), "StreamingAsrManager reset for source: system");
    // Frame 10 is one that a window only hears from a decoder at its start.
    streamInPieces(stream, ScriptedRecogniser::spokenAudio(4.0, {{10, 3}}), 1000);
    EXPECT_EQ(stream.finish(), "Welt");
    ASSERT_EQ(updates.all().size(), 3U);
    EXPECT_DOUBLE_EQ(updates.all()[2].tokenTimings.at(0).startTime, 0.8);
}

TEST_F(StreamingAsrManagerTest, AResetBeforeTheStartChangesLittle) {
    StreamingAsrManager stream(plainWindows());
    stream.reset();
    stream.start(recogniser.models());
    say(stream, {1});
    EXPECT_EQ(stream.finish(), "hello");
}

TEST_F(StreamingAsrManagerTest, ALaterSinkReplacesAnEarlierOne) {
    StreamingAsrManager stream(plainWindows());
    Updates later;
    stream.transcriptionUpdates(updates.sink());
    stream.start(recogniser.models());
    say(stream, {1});
    updates.waitFor(1);
    stream.transcriptionUpdates(later.sink());
    say(stream, {2});
    later.waitFor(1);
    stream.transcriptionUpdates({});
    say(stream, {3});
    EXPECT_EQ(stream.finish(), "hello grüne Welt");
    EXPECT_EQ(updates.texts(), Texts{"hello"});
    EXPECT_EQ(later.texts(), Texts{"grüne"});
}

TEST_F(StreamingAsrManagerTest, ASinkMayCallTheStream) {
    StreamingAsrManager stream(plainWindows());
    stream.transcriptionUpdates([&](const Update& update) {
        updates.sink()(update);
        if (update.text == "hello")
            stream.reset();
        else
            stream.transcriptionUpdates({});
    });
    stream.start(recogniser.models());
    say(stream, {1, 0, 3});
    stream.finish();
    EXPECT_EQ(updates.texts(), (Texts{"hello", ""}));
    EXPECT_EQ(stream.processedChunks(), 2);
}

TEST_F(StreamingAsrManagerTest, AFailingSinkDoesNotEndTheStream) {
    StreamingAsrManager stream(plainWindows());
    stream.transcriptionUpdates([](const Update&) { throw std::runtime_error("view is gone"); });
    stream.start(recogniser.models());
    say(stream, {1, 2});
    EXPECT_EQ(stream.finish(), "hello grüne");
    EXPECT_THAT(streamMessages(Level::error), ElementsAre("The reader of updates failed: view is gone",
                                                          "The reader of updates failed: view is gone"));
}

TEST_F(StreamingAsrManagerTest, WhatEndsTheTaskIsPassedOnByFinish) {
    StreamingAsrManager stream(plainWindows());
    stream.transcriptionUpdates([](const Update&) { throw 1; });
    stream.start(recogniser.models());
    say(stream, {1});
    EXPECT_THROW(stream.finish(), int);
    EXPECT_THAT(streamMessages(Level::error), ElementsAre("Recognition task failed: unknown error"));
}

} // namespace
} // namespace VarnelSpeech::Testing
