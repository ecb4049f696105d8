#include "Varnel/Refinement/AudioDuration.h"

#include "support/AudioFixtures.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace Varnel {
namespace {

using namespace VarnelSpeech::Testing;

class AudioDurationTest : public ::testing::Test {
protected:
    TemporaryFolder folder_;
};

TEST_F(AudioDurationTest, IsTheNumberOfFramesOverTheRate) {
    writeAudio(folder_ / "a.flac", FixtureFormat::flac, 44100, 2, tone(440, 44100, 2, 66150));
    EXPECT_EQ(audioDuration(folder_ / "a.flac"), 1.5);
}

TEST_F(AudioDurationTest, AFileWhoseHeadDoesNotTellIsReadToItsEnd) {
    WavBytes wav;
    wav.payload = bytesOf(tone(440, 16000, 1, 40000));
    wav.dataSize = 0xFFFFFFFF;
    wav.riffSize = 0xFFFFFFFF;
    writeBytes(folder_ / "cut.wav", wav.bytes());
    EXPECT_EQ(audioDuration(folder_ / "cut.wav"), 2.5);
}

TEST_F(AudioDurationTest, WhatHoldsNoSoundHasNone) {
    writeText(folder_ / "text.wav", "no sound at all");
    writeText(folder_ / "empty.wav", "");
    writeBytes(folder_ / "headOnly.wav", WavBytes().bytes());
    for (const char* name : {"text.wav", "empty.wav", "headOnly.wav", "absent.wav", "."})
        EXPECT_EQ(audioDuration(folder_ / name), std::nullopt) << name;
    EXPECT_EQ(audioDuration("/dev/null"), std::nullopt);
}

TEST_F(AudioDurationTest, AStopEndsIt) {
    writeAudio(folder_ / "a.wav", FixtureFormat::wavFloat, 16000, 1, tone(440, 16000, 1, 16000));
    std::stop_source stop;
    EXPECT_EQ(audioDuration(folder_ / "a.wav", stop.get_token()), 1.0);
    stop.request_stop();
    EXPECT_EQ(audioDuration(folder_ / "a.wav", stop.get_token()), std::nullopt);
}

} // namespace
} // namespace Varnel
