// Conversion of whole files: blocks against one piece, every bad length, progress and stops.
#include "VarnelSpeech/Shared/AudioConverter.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"
#include "VarnelSpeech/Shared/AudioFileError.h"
#include "support/AudioFixtures.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

using namespace VarnelSpeech;
using Testing::FixtureFormat;
using Testing::TemporaryFolder;
using Testing::WavBytes;

namespace {

PcmBuffer bufferOf(double sampleRate, std::uint32_t channels, const std::vector<float>& samples) {
    PcmBuffer buffer({sampleRate, channels, AudioSampleType::float32, true}, samples.size() / channels);
    std::copy(samples.begin(), samples.end(), buffer.floatPlane(0).begin());
    return buffer;
}

} // namespace

TEST(AudioConverterFile, GivesTheSamplesOfAConversionInOnePiece) {
    const TemporaryFolder folder;
    const std::vector<int> rates{8000, 11025, 16000, 22050, 44100, 48000, 192000};
    EXPECT_TRUE(rc::check([&] {
        const int rate = *rc::gen::elementOf(rates);
        const auto channels = *rc::gen::inRange<std::uint32_t>(1, 7);
        const auto frames = *rc::gen::inRange<std::size_t>(1, 60000);
        const auto samples = Testing::noise(channels, channels, frames);
        Testing::writeAudio(folder / "a.wav", FixtureFormat::wavFloat, rate, channels, samples);
        RC_ASSERT(AudioConverter().resampleAudioFile(folder / "a.wav") ==
                  AudioConverter().resampleBuffer(bufferOf(rate, channels, samples)));
    }));
}

TEST(AudioConverterFile, LeavesSpeechAsItIs) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 1, 70000);
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavFloat, 16000, 1, samples);
    Testing::LogRecorder log;
    EXPECT_EQ(AudioConverter(AudioFormat::speech(), true).resampleAudioFile(folder / "a.wav"), samples);
    EXPECT_TRUE(log.lines().empty()) << "nothing was converted";
}

TEST(AudioConverterFile, SendsSixChannelsThroughTheManualPath) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(6, 6, 48001);
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavFloat, 48000, 6, samples);
    Testing::LogRecorder log;
    const auto result = AudioConverter(AudioFormat::speech(), true).resampleAudioFile(folder / "a.wav");
    ASSERT_EQ(result.size(), 16000U); // trunc(48001 / 3)
    float sum = 0;
    for (std::size_t channel = 0; channel < 6; ++channel)
        sum += samples[3 * 15999 * 6 + channel];
    EXPECT_EQ(result.back(), sum * (1.0F / 6));
    EXPECT_EQ(log.messages(AppLogger::Level::debug),
              std::vector<std::string>{"Manual resampling: 6 channels → mono, 48000Hz → 16000Hz"});
}

TEST(AudioConverterFile, SendsStereoThroughThePlatformConverter) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavFloat, 48000, 2, Testing::tone(440, 48000, 2, 48000));
    Testing::LogRecorder log;
    EXPECT_EQ(AudioConverter(AudioFormat::speech(), true).resampleAudioFile(folder / "a.wav").size(), 16000U);
    EXPECT_EQ(log.messages(AppLogger::Level::debug),
              std::vector<std::string>{"Audio conversion: 48000 samples → 16000 samples, ratio: 0.3333333333333333"});
}

TEST(AudioConverterFile, BringsEveryFormatToTheSameTone) {
    const TemporaryFolder folder;
    const auto expected = Testing::tone(440, 16000, 1, 16000);
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 48000, 1, Testing::tone(440, 48000, 1, 48000));
    Testing::writeAudio(folder / "a.flac", FixtureFormat::flac, 48000, 1, Testing::tone(440, 48000, 1, 48000));
    Testing::writeAudio(folder / "a.ogg", FixtureFormat::oggVorbis, 48000, 1, Testing::tone(440, 48000, 1, 48000));
    Testing::runFFmpeg({"-i", folder / "a.wav", folder / "a.m4a"});
    for (const char* name : {"a.wav", "a.flac", "a.ogg", "a.m4a"}) {
        const auto result = AudioConverter().resampleAudioFile(folder / name);
        ASSERT_NEAR(static_cast<double>(result.size()), 16000, 700) << name;
        double error = 0;
        for (std::size_t index = 2000; index < 14000; ++index)
            error = std::max(error, std::abs(static_cast<double>(result[index]) - expected[index]));
        EXPECT_LT(error, 0.05) << name; // lossy coding included
    }
}

TEST(AudioConverterFile, TakesRatesFromTelephoneToStudio) {
    const TemporaryFolder folder;
    for (const int rate : {8000, 192000}) {
        Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, rate, 2,
                            Testing::tone(440, rate, 2, static_cast<std::size_t>(rate)));
        EXPECT_EQ(AudioConverter().resampleAudioFile(folder / "a.wav").size(), 16000U);
    }
}

TEST(AudioConverterFile, ReadsBadSamplesAsSilence) {
    const TemporaryFolder folder;
    for (const int rate : {16000, 48000}) {
        auto samples = Testing::noise(1, 1, 48000);
        samples[10] = std::nanf("");
        samples[30000] = std::numeric_limits<float>::infinity();
        Testing::writeAudio(folder / "a.wav", FixtureFormat::wavFloat, rate, 1, samples);
        samples[10] = 0;
        samples[30000] = 0;
        EXPECT_EQ(AudioConverter().resampleAudioFile(folder / "a.wav"),
                  AudioConverter().resampleBuffer(bufferOf(rate, 1, samples)));
    }
}

TEST(AudioConverterFile, TakesNoMoreMemoryThanTheFileIsWorth) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 1, 4000);
    for (const std::uint32_t claim : {0xFFFFFFFFU, 0x40000000U}) {
        WavBytes wav{.riffSize = 0xFFFFFFFFU, .dataSize = claim, .payload = Testing::bytesOf(samples)};
        Testing::writeBytes(folder / "lie.wav", wav.bytes());
        const auto result = AudioConverter().resampleAudioFile(folder / "lie.wav");
        EXPECT_EQ(result, samples);
        EXPECT_LE(result.capacity(), 4100U);
    }
}

TEST(AudioConverterFile, ReservesExactlyWhatASoundFileGives) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 48000, 2, Testing::noise(1, 2, 100000));
    const auto result = AudioConverter().resampleAudioFile(folder / "a.wav");
    EXPECT_EQ(result.size(), 33333U);
    EXPECT_EQ(result.capacity(), 33334U); // the ceiling, reserved before the first block
}

TEST(AudioConverterFile, RefusesAFileWithoutASample) {
    const TemporaryFolder folder;
    Testing::writeBytes(folder / "none.wav", WavBytes{}.bytes());
    try {
        AudioConverter().resampleAudioFile(folder / "none.wav");
        FAIL() << "no error";
    } catch (const AudioFileError& error) {
        EXPECT_EQ(error.error(), AudioFileError::Case::hasNoAudio);
        EXPECT_EQ(error.what(), "cannot read '" + (folder / "none.wav").string() + "': has no audio");
    }
}

TEST(AudioConverterFile, LogsThatAFileEndsBeforeWhatItsHeadPromises) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 2, 3 * 48000);
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 48000, 2, samples);
    Testing::writeAudio(folder / "a.rf64", FixtureFormat::rf64Float, 48000, 2, samples);
    Testing::writeAudio(folder / "a.flac", FixtureFormat::flac, 48000, 2, samples);
    Testing::runFFmpeg({"-i", folder / "a.wav", "-movflags", "+faststart", folder / "a.m4a"});
    for (const char* name : {"a.wav", "a.rf64", "a.flac", "a.m4a"}) {
        std::filesystem::resize_file(folder / name, std::filesystem::file_size(folder / name) / 2);
        const Testing::LogRecorder log;
        const auto result = AudioConverter().resampleAudioFile(folder / name);
        EXPECT_NEAR(static_cast<double>(result.size()), 24000, 4000) << name;
        const auto warnings = log.messages(AppLogger::Level::warning);
        ASSERT_EQ(warnings.size(), 1U) << name;
        EXPECT_TRUE(warnings[0].starts_with("'" + (folder / name).string() + "' ends early: expected 144"))
            << warnings[0];
        EXPECT_EQ(log.lines()[0].category, "AudioConverter");
    }
    Testing::writeBytes(
        folder / "b.wav",
        WavBytes{.sampleRate = 8000, .dataSize = 400000, .payload = Testing::bytesOf(std::vector<float>(20000, 0.5F))}
            .bytes());
    const Testing::LogRecorder log;
    AudioConverter().resampleAudioFile(folder / "b.wav");
    EXPECT_EQ(log.messages(AppLogger::Level::warning),
              std::vector<std::string>{"'" + (folder / "b.wav").string() +
                                       "' ends early: expected 100000 frames (12.5 s), read 20000 (2.5 s)"});
}

TEST(AudioConverterFile, LogsNoEarlyEndOfWholeFilesNorOfStreams) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 1, 3 * 44100);
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt24, 44100, 1, samples);
    Testing::writeAudio(folder / "a.rf64", FixtureFormat::rf64Float, 44100, 1, samples);
    Testing::writeAudio(folder / "a.flac", FixtureFormat::flac, 44100, 1, samples);
    Testing::writeAudio(folder / "a.ogg", FixtureFormat::oggVorbis, 44100, 1, samples);
    Testing::writeAudio(folder / "a.aiff", FixtureFormat::aiff, 44100, 1, samples);
    for (const char* name : {"a.mp3", "a.m4a", "a.opus", "a.mka"})
        Testing::runFFmpeg({"-i", folder / "a.wav", folder / name});
    // The picture goes on after the sound has ended.
    Testing::runFFmpeg(
        {"-f", "lavfi", "-i", "color=c=red:s=64x48:d=9", "-i", folder / "a.wav", "-c:v", "mpeg4", folder / "film.mkv"});
    Testing::runFFmpeg({"-i", folder / "film.mkv", "-c", "copy", folder / "film.mp4"});
    std::vector<std::string> names{"a.wav", "a.rf64", "a.flac", "a.ogg",    "a.aiff",  "a.mp3",
                                   "a.m4a", "a.opus", "a.mka",  "film.mkv", "film.mp4"};
    for (const std::uint32_t unknown : {0U, 0xFFFFFFFFU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU - 36}) {
        names.push_back(std::to_string(unknown) + ".wav");
        Testing::writeBytes(folder / names.back(), WavBytes{.riffSize = unknown == 0 ? 8 : 0xFFFFFFFFU,
                                                            .dataSize = unknown,
                                                            .dataSizeIsZero = unknown == 0,
                                                            .payload = Testing::bytesOf(samples)}
                                                       .bytes());
    }
    for (const std::string& name : names) {
        const Testing::LogRecorder log;
        EXPECT_GT(AudioConverter().resampleAudioFile(folder / name).size(), 40000U) << name;
        EXPECT_EQ(log.messages(AppLogger::Level::warning), std::vector<std::string>{}) << name;
    }
}

TEST(AudioConverterFile, LetsErrorsOfTheFileThrough) {
    EXPECT_THROW(AudioConverter().resampleAudioFile("/nowhere/at all.wav"), AudioFileError);
}

TEST(AudioConverterFile, TellsItsProgressUpToTheEnd) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 48000, 2, Testing::noise(1, 2, 100000));
    Testing::runFFmpeg({"-i", folder / "a.wav", folder / "a.m4a"});
    for (const char* name : {"a.wav", "a.m4a"}) {
        std::vector<double> shares;
        AudioConverter().resampleAudioFile(folder / name, [&](double share) { shares.push_back(share); });
        ASSERT_GT(shares.size(), 5U) << name;
        EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end())) << name;
        EXPECT_GT(shares.front(), 0.0) << name;
        EXPECT_EQ(shares.back(), 1.0) << name;
    }
}

TEST(AudioConverterFile, EndsWithWhatTheProgressThrows) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 48000, 2, Testing::noise(1, 2, 1000));
    EXPECT_THROW(
        AudioConverter().resampleAudioFile(folder / "a.wav", [](double) { throw std::domain_error("enough"); }),
        std::domain_error);
}

TEST(AudioConverterFile, StopsBetweenBlocks) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 48000, 2, Testing::noise(1, 2, 100000));
    std::stop_source stop;
    int blocks = 0;
    try {
        AudioConverter().resampleAudioFile(
            folder / "a.wav",
            [&](double) {
                ++blocks;
                stop.request_stop();
            },
            stop.get_token());
        FAIL() << "no error";
    } catch (const AudioFileError& error) {
        EXPECT_EQ(error.error(), AudioFileError::Case::stopped);
        EXPECT_EQ(blocks, 1);
    }
}
