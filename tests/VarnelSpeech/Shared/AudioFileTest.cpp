#include "VarnelSpeech/Shared/AudioFile.h"

#include "VarnelSpeech/Shared/AudioFileError.h"
#include "support/AudioFixtures.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace VarnelSpeech;
using Case = AudioFileError::Case;
using Testing::FixtureFormat;
using Testing::TemporaryFolder;
using Testing::WavBytes;

namespace {

// The message of the error that opening the file, and reading it to its end, gives; empty if there is none.
std::string problem(const std::filesystem::path& path, Case* error = nullptr) {
    try {
        AudioFile file(path);
        std::vector<float> block(4096 * file.format().channels);
        while (file.read(block) > 0) {
        }
        return {};
    } catch (const AudioFileError& thrown) {
        if (error != nullptr)
            *error = thrown.error();
        return thrown.what();
    }
}

std::string message(const std::filesystem::path& path, const std::string& text) {
    return "cannot read '" + path.string() + "': " + text;
}

std::vector<float> readAll(AudioFile& file) {
    std::vector<float> samples;
    std::vector<float> block(1000 * file.format().channels);
    while (const std::size_t frames = file.read(block))
        samples.insert(samples.end(), block.begin(),
                       block.begin() + static_cast<std::ptrdiff_t>(frames * file.format().channels));
    return samples;
}

} // namespace

TEST(AudioFile, ReadsWhatLosslessFilesHold) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 2, 5000);
    for (const auto format :
         {FixtureFormat::wavFloat, FixtureFormat::wavDouble, FixtureFormat::rf64Float, FixtureFormat::wavInt24,
          FixtureFormat::wavInt16, FixtureFormat::flac, FixtureFormat::aiff}) {
        Testing::writeAudio(folder / "audio", format, 44100, 2, samples);
        AudioFile file(folder / "audio");
        EXPECT_EQ(file.format(), (AudioFormat{44100, 2, AudioSampleType::float32, true}));
        EXPECT_EQ(file.expectedFrames(), 5000U);
        const auto read = readAll(file);
        ASSERT_EQ(read.size(), samples.size());
        for (std::size_t index = 0; index < samples.size(); ++index)
            ASSERT_NEAR(read[index], samples[index], 1.0 / 32768);
        EXPECT_EQ(file.share(), 1.0);
    }
}

TEST(AudioFile, ReadsCompressedFiles) {
    const TemporaryFolder folder;
    const auto samples = Testing::tone(440, 48000, 2, 48000);
    for (const auto format : {FixtureFormat::oggVorbis, FixtureFormat::oggOpus, FixtureFormat::mp3}) {
        Testing::writeAudio(folder / "audio", format, 48000, 2, samples);
        AudioFile file(folder / "audio");
        EXPECT_EQ(file.format(), (AudioFormat{48000, 2, AudioSampleType::float32, true}));
        EXPECT_NEAR(static_cast<double>(readAll(file).size() / 2), 48000, 2500);
    }
}

TEST(AudioFile, ReadsTheSoundOfContainersThroughFFmpeg) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "tone.wav", FixtureFormat::wavInt16, 44100, 2, Testing::tone(440, 44100, 2, 44100));
    const std::string tone = folder / "tone.wav";
    const std::string picture = "color=c=red:s=64x48:d=1";
    Testing::runFFmpeg({"-i", tone, "-c:a", "aac", folder / "tone.m4a"});
    Testing::runFFmpeg({"-i", tone, "-c:a", "alac", folder / "lossless.m4a"});
    Testing::runFFmpeg({"-i", tone, "-c:a", "aac", folder / "tone.aac"});
    Testing::runFFmpeg(
        {"-f", "lavfi", "-i", picture, "-i", tone, "-c:v", "mpeg4", "-c:a", "aac", "-f", "mp4", folder / "film.m4a"});
    Testing::runFFmpeg({"-f", "lavfi", "-i", picture, "-i", tone, "-c:v", "mpeg4", "-c:a", "libopus", "-ar", "48000",
                        folder / "film.mkv"});
    for (const char* name : {"tone.m4a", "lossless.m4a", "tone.aac", "film.m4a", "film.mkv"}) {
        AudioFile file(folder / name);
        EXPECT_EQ(file.format().channels, 2U) << name;
        const double rate = file.format().sampleRate;
        EXPECT_EQ(rate, std::string(name) == "film.mkv" ? 48000 : 44100) << name;
        EXPECT_NEAR(static_cast<double>(file.expectedFrames()), rate, 0.2 * rate) << name;
        EXPECT_NEAR(static_cast<double>(readAll(file).size()) / 2, rate, 2500) << name;
    }
}

TEST(AudioFile, ReadsBlocksOfAnySize) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(2, 2, 1000);
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavFloat, 48000, 2, samples);
    AudioFile file(folder / "a.wav");
    std::vector<float> odd(7); // three whole frames
    EXPECT_EQ(file.read(odd), 3U);
    std::vector<float> rest(4000);
    EXPECT_EQ(file.read(rest), 997U);
    EXPECT_EQ(rest[0], samples[6]);
    EXPECT_EQ(file.read(rest), 0U);
    EXPECT_EQ(file.read(rest), 0U);
    EXPECT_EQ(file.read({}), 0U);
}

TEST(AudioFile, SaysWhatKeepsAFileFromBeingOpened) {
    const TemporaryFolder folder;
    Case error{};
    EXPECT_EQ(problem(folder / "none.wav", &error), message(folder / "none.wav", "no such file"));
    EXPECT_EQ(error, Case::noSuchFile);
    EXPECT_EQ(problem(folder.path(), &error), message(folder.path(), "is a directory"));
    EXPECT_EQ(error, Case::isDirectory);
    Testing::writeText(folder / "empty.wav", "");
    EXPECT_EQ(problem(folder / "empty.wav", &error), message(folder / "empty.wav", "is empty"));
    EXPECT_EQ(error, Case::isEmpty);
    Testing::writeText(folder / "text.wav", "This is a text, whatever it is called.\n");
    EXPECT_EQ(problem(folder / "text.wav", &error), message(folder / "text.wav", "not an audio file"));
    EXPECT_EQ(error, Case::notAudio);
    EXPECT_EQ(problem(folder / "text.wav/inside"), message(folder / "text.wav/inside", "no such file"));
}

TEST(AudioFile, DoesNotWaitForPipesAndDevices) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(problem(folder / "pipe"), message(folder / "pipe", "is not a regular file"));
    EXPECT_EQ(problem("/dev/null"), "cannot read '/dev/null': is not a regular file");
    EXPECT_EQ(problem("/dev/zero"), "cannot read '/dev/zero': is not a regular file");
}

TEST(AudioFile, SaysThatItMayNotRead) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "mine.wav", FixtureFormat::wavInt16, 16000, 1, Testing::noise(1, 1, 100));
    ASSERT_EQ(chmod((folder / "mine.wav").c_str(), 0), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    // Nothing is forbidden to root: as another user's, in a thread of its own process.
    if (geteuid() != 0) {
        EXPECT_EQ(problem(folder / "mine.wav"), message(folder / "mine.wav", "permission denied"));
        return;
    }
    ASSERT_EQ(seteuid(65534), 0);
    const std::string found = problem(folder / "mine.wav");
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(found, message(folder / "mine.wav", "permission denied"));
}

TEST(AudioFile, PassesTheSystemsOwnWordsOn) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("loop", folder / "loop");
    EXPECT_EQ(problem(folder / "loop"), message(folder / "loop", "Too many levels of symbolic links"));
}

TEST(AudioFile, OpensFilesOfAnyNameAndNamesThemInOneLine) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 1, 100);
    for (const char* name :
         {"two words.wav", "it's \"quoted\".wav", "two\nlines.wav", "caf\xe9.wav", "%s%n.wav", "-x"}) {
        Testing::writeAudio(folder / name, FixtureFormat::wavInt16, 16000, 1, samples);
        EXPECT_EQ(problem(folder / name), "") << name;
        Testing::runFFmpeg({"-i", folder / name, "-f", "mp4", folder / (std::string(name) + ".m4a")});
        EXPECT_EQ(problem(folder / (std::string(name) + ".m4a")), "") << name;
    }
    Testing::writeText(folder / "a\nb'c\xff.wav", "text");
    EXPECT_EQ(problem(folder / "a\nb'c\xff.wav"),
              "cannot read '" + folder.path().string() + "/a\\nb\\'c\\xFF.wav': not an audio file");
}

TEST(AudioFile, SaysWhatIsWrongWithAHeadThatLies) {
    const TemporaryFolder folder;
    const auto payload = Testing::bytesOf(Testing::noise(1, 1, 4000));
    const auto says = [&](WavBytes wav) {
        wav.payload = payload;
        Testing::writeBytes(folder / "lie.wav", wav.bytes());
        return problem(folder / "lie.wav");
    };
    EXPECT_EQ(says({.channels = 0}), message(folder / "lie.wav", "0 channels"));
    EXPECT_EQ(says({.channels = 65535}), message(folder / "lie.wav", "65535 channels"));
    EXPECT_EQ(says({.sampleRate = 0}), message(folder / "lie.wav", "sample rate 0 Hz"));
    EXPECT_EQ(says({.sampleRate = 1}), message(folder / "lie.wav", "sample rate 1 Hz"));
    EXPECT_EQ(says({.sampleRate = 2000000000}), message(folder / "lie.wav", "sample rate 2000000000 Hz"));
    EXPECT_EQ(says({}), "");
}

TEST(AudioFile, BelievesNoLengthThatTheFileCannotHold) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 1, 4000);
    for (const std::uint32_t claim : {0xFFFFFFFFU, 0x7FFFFFFFU, 0x80000000U, 100000U}) {
        WavBytes wav{.riffSize = 0xFFFFFFFFU, .dataSize = claim, .payload = Testing::bytesOf(samples)};
        Testing::writeBytes(folder / "lie.wav", wav.bytes());
        AudioFile file(folder / "lie.wav");
        EXPECT_LE(file.expectedFrames(), 4012U) << claim;
        EXPECT_EQ(readAll(file), samples) << claim;
    }
}

TEST(AudioFile, ReadsAStreamedFileWhoseHeadWasNeverFilledIn) {
    const TemporaryFolder folder;
    const auto samples = Testing::noise(1, 1, 4000);
    WavBytes wav{.riffSize = 8, .dataSizeIsZero = true, .payload = Testing::bytesOf(samples)};
    Testing::writeBytes(folder / "streamed.wav", wav.bytes());
    AudioFile file(folder / "streamed.wav");
    EXPECT_EQ(readAll(file), samples);
}

TEST(AudioFile, FindsNoAudioWhereThereIsNone) {
    const TemporaryFolder folder;
    Testing::runFFmpeg({"-f", "lavfi", "-i", "color=c=red:s=64x48:d=1", "-c:v", "mpeg4", folder / "silent.mp4"});
    EXPECT_EQ(problem(folder / "silent.mp4"), message(folder / "silent.mp4", "has no audio"));
    Testing::runFFmpeg({"-f", "lavfi", "-i", "color=c=red:s=64x48:d=1", "-frames:v", "1", folder / "picture.png"});
    EXPECT_EQ(problem(folder / "picture.png"), message(folder / "picture.png", "not an audio file"));
}

TEST(AudioFile, FollowsNoReferencesOutOfAFile) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "other.wav", FixtureFormat::wavInt16, 16000, 1, Testing::noise(1, 1, 16000));
    Testing::writeText(folder / "list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" +
                                                 (folder / "other.wav").string() + "\n#EXT-X-ENDLIST\n");
    Testing::writeText(folder / "list.txt", "ffconcat version 1.0\nfile other.wav\n");
    EXPECT_EQ(problem(folder / "list.m3u8"), message(folder / "list.m3u8", "not an audio file"));
    EXPECT_EQ(problem(folder / "list.txt"), message(folder / "list.txt", "not an audio file"));
}

TEST(AudioFile, StopsWhenItIsAskedTo) {
    const TemporaryFolder folder;
    Testing::writeAudio(folder / "a.wav", FixtureFormat::wavInt16, 16000, 1, Testing::noise(1, 1, 16000));
    Testing::runFFmpeg({"-i", folder / "a.wav", folder / "a.m4a"});
    for (const char* name : {"a.wav", "a.m4a"}) {
        std::stop_source stop;
        AudioFile file(folder / name, stop.get_token());
        std::vector<float> block(100);
        EXPECT_EQ(file.read(block), 100U);
        stop.request_stop();
        try {
            file.read(block);
            FAIL() << "no error";
        } catch (const AudioFileError& error) {
            EXPECT_EQ(error.error(), Case::stopped);
            EXPECT_EQ(error.what(), message(folder / name, "stopped"));
        }
    }
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(AudioFile(folder / "a.m4a", stop.get_token()), AudioFileError);
    EXPECT_THROW(AudioFile(folder / "a.wav", stop.get_token()), AudioFileError);
}
