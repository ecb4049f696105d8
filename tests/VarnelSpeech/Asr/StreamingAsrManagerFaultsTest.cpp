// Models that fail in the middle of a stream.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/StreamingFixture.h"
#include "support/LogRecorder.h"
#include "support/ScriptedRecogniser.h"
#include "support/ScriptedTransducer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

namespace VarnelSpeech::Testing {
namespace {

using Level = AppLogger::Level;
using Texts = std::vector<std::string>;

class StreamingAsrManagerFaults : public ::testing::Test {
protected:
    StreamingAsrManagerFaults() {
        recogniser.onWindow = [this](std::size_t window) {
            if (window == failingWindow)
                throw std::runtime_error("the encoder is out of order");
        };
        models.decoder =
            std::make_shared<ScriptedModel>(ScriptedTransducer::decoderDescription(), [this](ScriptedModel::Call&) {
                if (decoderFails)
                    throw std::runtime_error("the decoder is out of order");
            });
    }

    // Four windows of 4 s with a word each. The decoder fails from the second on, if at all.
    std::string streamFourWords(StreamingAsrManager::Dependencies dependencies = {}) {
        StreamingAsrManager stream({4.0, 1.0, 0.0, 0.0, 2.0, 0.6}, std::move(dependencies));
        stream.transcriptionUpdates(updates.sink());
        stream.start(models);
        const auto audio = ScriptedRecogniser::spokenAudio(16.0, {{30, 1}, {80, 2}, {130, 3}, {180, 4}});
        stream.streamAudio(speechBuffer(std::span(audio).first(64000)));
        updates.waitFor(1);
        decoderFails = decoderBreaks;
        stream.streamAudio(speechBuffer(std::span(audio).subspan(64000)));
        std::string text = stream.finish();
        processedChunks = stream.processedChunks();
        return text;
    }

    // The stream's lines from the first error on.
    std::vector<LogRecorder::Line> linesFromError(std::size_t count) const {
        std::vector<LogRecorder::Line> found;
        for (const auto& line : log.lines())
            if (line.category == "StreamingASR" && found.size() < count &&
                (line.level == Level::error || !found.empty()))
                found.push_back(line);
        return found;
    }

    static LogRecorder::Line line(Level level, const std::string& message) { return {level, "StreamingASR", message}; }

    const LogRecorder log;
    ScriptedRecogniser recogniser{{"▁one", "▁two", "▁three", "▁four"}};
    AsrModels models = recogniser.models();
    Updates updates;
    std::size_t failingWindow = 1;
    bool decoderBreaks = false;
    std::atomic<bool> decoderFails = false;
    int processedChunks = 0;
};

TEST_F(StreamingAsrManagerFaults, AFailedWindowIsLostAndTheStreamGoesOn) {
    EXPECT_EQ(streamFourWords(), "one three four");
    EXPECT_EQ(updates.texts(), (Texts{"one", "three", "four"}));
    EXPECT_EQ(processedChunks, 3);
    EXPECT_DOUBLE_EQ(updates.all()[1].tokenTimings.at(0).startTime, 130 * 0.08) << "times stay true";
    EXPECT_EQ(linesFromError(4),
              (std::vector{line(Level::error, "Model processing error: the encoder is out of order"),
                           line(Level::warning, "Attempting error recovery for: Model processing failed: the encoder "
                                                "is out of order"),
                           line(Level::info, "Recovering from model processing error - resetting decoder state"),
                           line(Level::info, "Successfully reset decoder state during error recovery")}));
}

TEST_F(StreamingAsrManagerFaults, AFailureOfEveryWindowEndsWithAnEmptyText) {
    StreamingAsrManager stream({4.0, 1.0, 0.0, 0.0, 2.0, 0.6});
    recogniser.onWindow = [](std::size_t) { throw std::runtime_error("never"); };
    stream.start(recogniser.models());
    streamInPieces(stream, ScriptedRecogniser::spokenAudio(10.0, {{30, 1}}), 4096);
    EXPECT_EQ(stream.finish(), "");
    EXPECT_EQ(stream.processedChunks(), 0);
    EXPECT_THAT(log.messages(Level::error),
                ::testing::ElementsAre("Model processing error: never", "Model processing error: never",
                                       "Model processing error: never"));
}

TEST_F(StreamingAsrManagerFaults, ADecoderThatCannotBeResetIsReplacedByNewModels) {
    decoderBreaks = true;
    failingWindow = SIZE_MAX;
    ScriptedRecogniser fresh{{"▁one", "▁two", "▁three", "▁four"}};
    int loads = 0;
    EXPECT_EQ(streamFourWords({[&](const std::stop_token&) {
                                   ++loads;
                                   return fresh.models();
                               },
                               {}}),
              "one three four");
    EXPECT_EQ(loads, 1);
    EXPECT_EQ(
        linesFromError(5),
        (std::vector{line(Level::error, "Model processing error: the decoder is out of order"),
                     line(Level::warning, "Attempting error recovery for: Model processing failed: the decoder "
                                          "is out of order"),
                     line(Level::info, "Recovering from model processing error - resetting decoder state"),
                     line(Level::error, "Failed to reset decoder state during recovery: the decoder is out of order"),
                     line(Level::info, "Successfully reinitialized ASR manager during error recovery")}));
}

TEST_F(StreamingAsrManagerFaults, WithoutNewModelsTheStreamGoesOnAllTheSame) {
    decoderBreaks = true;
    failingWindow = SIZE_MAX;
    EXPECT_EQ(streamFourWords({[this](const std::stop_token&) -> AsrModels {
                                   decoderFails = false; // a passing weakness
                                   throw AsrModelsError::loadingFailed("the folder is empty");
                               },
                               {}}),
              "one three four");
    EXPECT_EQ(linesFromError(5).back(),
              line(Level::error, "Failed to reinitialize ASR manager during recovery: Failed to load ASR models: the "
                                 "folder is empty"));
}

TEST_F(StreamingAsrManagerFaults, AResetWhoseDecoderFailsIsLogged) {
    StreamingAsrManager stream({4.0, 1.0, 0.0, 0.0, 2.0, 0.6});
    stream.start(models);
    decoderFails = true;
    stream.reset();
    decoderFails = false;
    EXPECT_THAT(log.messages(Level::error),
                ::testing::ElementsAre("Failed to reset decoder state: the decoder is out of order"));
    streamInPieces(stream, ScriptedRecogniser::spokenAudio(4.0, {{30, 2}}), 4096);
    EXPECT_EQ(stream.finish(), "two");
}

} // namespace
} // namespace VarnelSpeech::Testing
