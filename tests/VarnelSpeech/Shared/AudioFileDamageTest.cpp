// Files cut off or changed anywhere: what is there is decoded, or there is one clear error; never a crash, a hang, or
// memory without end.
#include "VarnelSpeech/Shared/AudioConverter.h"

#include "VarnelSpeech/Shared/AudioFileError.h"
#include "support/AudioFixtures.h"
#include "support/TemporaryFolder.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace VarnelSpeech;
using Testing::FixtureFormat;
using Testing::TemporaryFolder;

namespace {

constexpr std::size_t fixtureFrames = 24000; // half a second
constexpr std::size_t fixtureOutput = 8000;

class DamagedFile : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        // Noise packs badly, so that even half a second takes several pages of a compressed file.
        const auto samples = Testing::noise(1, 2, fixtureFrames);
        const std::string& kind = GetParam();
        const auto file = folder_ / ("whole." + kind);
        if (kind == "wav")
            Testing::writeAudio(file, FixtureFormat::wavInt16, 48000, 2, samples);
        else if (kind == "rf64")
            Testing::writeAudio(file, FixtureFormat::rf64Float, 48000, 2, samples);
        else if (kind == "flac")
            Testing::writeAudio(file, FixtureFormat::flac, 48000, 2, samples);
        else if (kind == "ogg")
            Testing::writeAudio(file, FixtureFormat::oggVorbis, 48000, 2, samples);
        else if (kind == "opus")
            Testing::writeAudio(file, FixtureFormat::oggOpus, 48000, 2, samples);
        else if (kind == "mp3")
            Testing::writeAudio(file, FixtureFormat::mp3, 48000, 2, samples);
        else
            makeWithFFmpeg(file, samples);
        whole_ = Testing::readBytes(file);
        ASSERT_GT(whole_.size(), 1000U);
    }

    // Samples that come out; none where there is one clear error.
    std::optional<std::size_t> samplesOf(std::span<const std::byte> bytes) {
        Testing::writeBytes(folder_ / "damaged", bytes);
        try {
            const auto samples = AudioConverter().resampleAudioFile(folder_ / "damaged");
            for (const float sample : samples)
                if (!std::isfinite(sample))
                    throw std::logic_error("a sample that is no number");
            return samples.size();
        } catch (const AudioFileError& error) {
            const std::string text = error.what();
            const std::string begin = "cannot read '" + (folder_ / "damaged").string() + "': ";
            if (!text.starts_with(begin) || text.size() <= begin.size() || text.find('\n') != std::string::npos)
                throw std::logic_error("not one clear line: " + text);
            return std::nullopt;
        }
    }

    std::vector<std::byte> whole_;

private:
    void makeWithFFmpeg(const std::filesystem::path& file, const std::vector<float>& samples) {
        Testing::writeAudio(folder_ / "source.wav", FixtureFormat::wavInt16, 48000, 2, samples);
        std::vector<std::string> arguments{"-i", folder_ / "source.wav"};
        if (GetParam() == "mp4")
            arguments = {
                "-f",    "lavfi",     "-i",        "color=c=red:s=64x48:d=0.5", "-i", folder_ / "source.wav", "-c:v",
                "mpeg4", "-movflags", "+faststart"};
        arguments.push_back(file);
        Testing::runFFmpeg(arguments);
    }

    TemporaryFolder folder_;
};

} // namespace

TEST_P(DamagedFile, IsReadWhole) {
    const auto samples = samplesOf(whole_);
    ASSERT_TRUE(samples.has_value());
    EXPECT_NEAR(static_cast<double>(*samples), fixtureOutput, 1200);
}

TEST_P(DamagedFile, IsReadAsFarAsItGoesWhenItIsCutOff) {
    const std::size_t step = whole_.size() / 150 + 1;
    std::size_t most = 0;
    for (std::size_t length = 0; length < whole_.size(); length += length < 120 ? 1 : step) {
        const auto samples = samplesOf(std::span(whole_).first(length));
        if (samples)
            most = std::max(most, *samples);
        // Formats with their table of contents in front, or none, give what is there.
        if (GetParam() != "m4a" && length > whole_.size() * 9 / 10) {
            ASSERT_TRUE(samples.has_value()) << "cut at " << length << " of " << whole_.size();
            ASSERT_GT(*samples, fixtureOutput / 2) << "cut at " << length << " of " << whole_.size();
        }
    }
    EXPECT_LE(most, fixtureOutput * 5 / 4);
}

TEST_P(DamagedFile, SurvivesFlippedBytes) {
    EXPECT_TRUE(rc::check([this] {
        auto bytes = whole_;
        const auto flips = *rc::gen::inRange(1, 6);
        // Most of them where the head lies.
        const bool inHead = *rc::gen::inRange(0, 4) != 0;
        for (int flip = 0; flip < flips; ++flip) {
            const auto position = *rc::gen::inRange<std::size_t>(0, inHead ? 200 : bytes.size());
            bytes[position] = static_cast<std::byte>(*rc::gen::inRange(0, 256));
        }
        samplesOf(bytes);
    }));
}

TEST_P(DamagedFile, SurvivesAMissingPiece) {
    EXPECT_TRUE(rc::check([this] {
        auto bytes = whole_;
        const auto from = *rc::gen::inRange<std::size_t>(0, bytes.size());
        const auto count = *rc::gen::inRange<std::size_t>(1, bytes.size() - from + 1);
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
        bytes.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
        samplesOf(bytes);
    }));
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedFile,
                         testing::Values("wav", "rf64", "flac", "ogg", "opus", "mp3", "m4a", "mp4", "mka"),
                         [](const auto& kind) { return kind.param; });

TEST(DamagedFiles, NoiseIsNoAudioFile) {
    const TemporaryFolder folder;
    EXPECT_TRUE(rc::check([&folder](const std::vector<std::uint8_t>& noise) {
        Testing::writeBytes(folder / "noise", std::as_bytes(std::span(noise)));
        RC_ASSERT_THROWS_AS(AudioConverter().resampleAudioFile(folder / "noise"), AudioFileError);
    }));
}
