#include "VarnelSpeech/Asr/StreamingTranscript.h"

#include "support/LogRecorder.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Level = AppLogger::Level;

// Confirms from 0.6 on, after 2 s.
class Transcript : public ::testing::Test {
protected:
    std::vector<std::string> debugLines() const { return log.messages(Level::debug); }

    const LogRecorder log;
    StreamingTranscript transcript{StreamingAsrConfig::liveCaptions(), AppLogger("StreamingASR")};
};

TEST_F(Transcript, AConfidentFirstWindowConfirmsNothing) {
    EXPECT_TRUE(transcript.isGood(0.9F, 3.5));
    transcript.update("hello", 0.9F, 3.5);
    EXPECT_EQ(transcript.confirmed(), "");
    EXPECT_EQ(transcript.volatileText(), "hello");
    EXPECT_EQ(debugLines(),
              std::vector<std::string>{"CONFIRMED (0.9, 3.5s context): promoted to confirmed; new volatile 'hello'"});
}

TEST_F(Transcript, AGoodWindowConfirmsTheTextBeforeIt) {
    transcript.update("a", 0.9F, 3.5);
    transcript.update("b", 0.9F, 6.5);
    EXPECT_EQ(transcript.confirmed(), "a");
    transcript.update("c", 1.0F, 9.54);
    EXPECT_EQ(transcript.confirmed(), "a b");
    EXPECT_EQ(transcript.volatileText(), "c");
    EXPECT_EQ(debugLines().back(), "CONFIRMED (1.0, 9.5s context): promoted to confirmed; new volatile 'c'");
}

TEST_F(Transcript, BeforeAPoorWindowTheTextIsLost) {
    transcript.update("a", 0.9F, 3.5);
    transcript.update("b", 0.59F, 6.5);
    EXPECT_EQ(transcript.confirmed(), "");
    EXPECT_EQ(transcript.volatileText(), "b");
    EXPECT_EQ(debugLines().back(), "VOLATILE (0.59): low confidence - updated volatile 'b'");
}

TEST_F(Transcript, NothingIsConfirmedBeforeThereIsEnoughAudio) {
    EXPECT_FALSE(transcript.isGood(0.9F, 1.9));
    transcript.update("a", 0.9F, 1.9);
    EXPECT_EQ(debugLines().back(), "VOLATILE (0.9): insufficient context (1.9s) - updated volatile 'a'");
    transcript.update("b", 0.1F, 1.95);
    EXPECT_EQ(debugLines().back(), "VOLATILE (0.1): insufficient context (1.9s) - updated volatile 'b'");
    EXPECT_TRUE(transcript.isGood(0.9F, 2.0));
    EXPECT_TRUE(transcript.isGood(0.6F, 2.0)) << "the threshold itself is enough";
    EXPECT_FALSE(transcript.isGood(0.599F, 2.0));
}

TEST_F(Transcript, AnEmptyTextAddsNoBlank) {
    transcript.update("a", 0.9F, 3);
    transcript.update("", 0.9F, 6);
    transcript.update("b", 0.9F, 9);
    EXPECT_EQ(transcript.confirmed(), "a");
    transcript.update("c", 0.9F, 12);
    EXPECT_EQ(transcript.confirmed(), "a b");
}

TEST_F(Transcript, IsEmptyAfterAReset) {
    transcript.update("a", 0.9F, 3);
    transcript.update("b", 0.9F, 6);
    transcript.reset();
    EXPECT_EQ(transcript.confirmed() + transcript.volatileText(), "");
}

} // namespace
} // namespace VarnelSpeech::Testing
