#include "VarnelSpeech/Asr/StreamingAsrRecovery.h"

#include "VarnelSpeech/Asr/StreamingAsrError.h"
#include "support/LogRecorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VarnelSpeech::Testing {
namespace {

using Case = StreamingAsrError::Case;
using Level = AppLogger::Level;
using Lines = std::vector<LogRecorder::Line>;

const std::runtime_error cause("the cause");

class Recovery : public ::testing::Test {
protected:
    static LogRecorder::Line line(Level level, const std::string& message) { return {level, "Stream", message}; }

    static Lines afterFirst(const std::exception& error, Lines lines) {
        lines.insert(lines.begin(),
                     line(Level::warning, std::string("Attempting error recovery for: ") + error.what()));
        return lines;
    }

    // The log of a recovery.
    Lines recover(const std::exception& error) {
        const LogRecorder log;
        StreamingAsrRecovery{AppLogger("Stream"),
                             [this] {
                                 done.push_back("reset");
                                 if (resetFails)
                                     throw std::runtime_error("no reset");
                             },
                             [this] {
                                 done.push_back("rebuild");
                                 if (rebuildFails)
                                     throw std::runtime_error("no models");
                             }}
            .attemptErrorRecovery(error);
        return log.lines();
    }

    bool resetFails = false;
    bool rebuildFails = false;
    std::vector<std::string> done;
};

TEST_F(Recovery, LogsWhatNeedsNoAction) {
    const std::tuple<StreamingAsrError, Level, std::string> rows[] = {
        {StreamingAsrError::streamAlreadyExists(AudioSource::microphone), Level::error,
         "Stream already exists - cannot recover automatically"},
        {StreamingAsrError::audioBufferProcessingFailed(cause), Level::info, "Recovering from audio buffer error"},
        {StreamingAsrError::audioConversionFailed(cause), Level::info, "Recovering from audio conversion error"},
        {StreamingAsrError::invalidConfiguration("x"), Level::error,
         "Configuration error cannot be recovered automatically"},
        {StreamingAsrError(Case::modelsNotLoaded), Level::error, "Models not loaded - cannot recover automatically"},
        {StreamingAsrError(Case::bufferOverflow), Level::info, "Buffer overflow handled automatically"},
    };
    for (const auto& [error, level, message] : rows)
        EXPECT_EQ(recover(error), afterFirst(error, {line(level, message)})) << message;
    EXPECT_TRUE(done.empty());
}

TEST_F(Recovery, ResetsTheDecoderAfterAModelFailure) {
    const auto error = StreamingAsrError::modelProcessingFailed(cause);
    EXPECT_EQ(recover(error),
              afterFirst(error, {line(Level::info, "Recovering from model processing error - resetting decoder state"),
                                 line(Level::info, "Successfully reset decoder state during error recovery")}));
    EXPECT_EQ(done, std::vector<std::string>{"reset"});
}

TEST_F(Recovery, ResetsTheDecoderAfterAnyOtherError) {
    EXPECT_EQ(recover(cause),
              afterFirst(cause, {line(Level::info, "Successfully reset decoder state during error recovery")}));
    EXPECT_EQ(done, std::vector<std::string>{"reset"});
}

TEST_F(Recovery, RebuildsWhenTheResetFails) {
    resetFails = true;
    EXPECT_EQ(recover(cause),
              afterFirst(cause, {line(Level::error, "Failed to reset decoder state during recovery: no reset"),
                                 line(Level::info, "Successfully reinitialized ASR manager during error recovery")}));
    EXPECT_EQ(done, (std::vector<std::string>{"reset", "rebuild"}));
}

TEST_F(Recovery, AFailedRebuildIsLoggedAndNoMore) {
    resetFails = true;
    rebuildFails = true;
    EXPECT_EQ(recover(cause),
              afterFirst(cause, {line(Level::error, "Failed to reset decoder state during recovery: no reset"),
                                 line(Level::error, "Failed to reinitialize ASR manager during recovery: no models")}));
}

} // namespace
} // namespace VarnelSpeech::Testing
