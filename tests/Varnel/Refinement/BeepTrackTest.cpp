#include "Varnel/Refinement/BeepTrack.h"

#include "support/AudioFixtures.h"
#include "support/ErrorText.h"
#include "support/TemporaryFolder.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

namespace Varnel {
namespace {

using Testing::errorText;
using VarnelSpeech::Testing::TemporaryFolder;

constexpr int rate = 16000;
constexpr std::int64_t beepLength = 2880; // 0.18 s

std::int16_t expected(std::int64_t n) {
    const double s = static_cast<double>(n) / rate;
    return static_cast<std::int16_t>(std::sin(2 * std::numbers::pi * 440 * s) * std::sin(std::numbers::pi * s / 0.18) *
                                     2621.36);
}

std::vector<std::int16_t> samplesOf(const std::filesystem::path& file) {
    const auto bytes = VarnelSpeech::Testing::readBytes(file);
    std::vector<std::int16_t> samples((bytes.size() - 44) / 2);
    if (!samples.empty())
        std::memcpy(samples.data(), bytes.data() + 44, samples.size() * 2);
    return samples;
}

QString path(const TemporaryFolder& folder) {
    return QString::fromStdString((folder / "beeps.wav").string());
}

TEST(BeepTrack, IsSilentWithoutBeeps) {
    EXPECT_EQ(beepSamples(1000, rate, {}), std::vector<std::int16_t>(1000, 0));
    EXPECT_TRUE(beepSamples(0, rate, {0}).empty());
    EXPECT_TRUE(beepSamples(-5, rate, {0}).empty());
}

TEST(BeepTrack, ABeepIsAHalfSineOfTheTone) {
    const auto samples = beepSamples(10000, rate, {0.25});
    for (std::int64_t n = 0; n < 10000; ++n) {
        const bool sounds = n >= 4000 && n < 4000 + beepLength;
        ASSERT_EQ(samples[static_cast<std::size_t>(n)], sounds ? expected(n - 4000) : 0) << n;
    }
    const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
    EXPECT_NEAR(*high, 2621, 30);
    EXPECT_NEAR(*low, -2621, 30);
}

TEST(BeepTrack, ABeepBeforeTheBeginningStartsThere) {
    EXPECT_EQ(beepSamples(5000, rate, {-3}), beepSamples(5000, rate, {0}));
}

TEST(BeepTrack, ABeepIsCutAtTheEnd) {
    const auto samples = beepSamples(1000, rate, {0.05});
    EXPECT_EQ(samples.size(), 1000U);
    EXPECT_EQ(samples[999], expected(199));
    EXPECT_EQ(beepSamples(1000, rate, {0.0625}), std::vector<std::int16_t>(1000, 0));
}

TEST(BeepTrack, TheLaterBeepOfTheListOverwritesTheEarlier) {
    const auto samples = beepSamples(8000, rate, {0.1, 0.05}); // samples 1600 and 800
    EXPECT_EQ(samples[1700], expected(900));
    EXPECT_EQ(samples[3700], expected(2100)); // what the second one left
}

TEST(BeepTrack, TimesThatAreNoTimesAreLeftOut) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(beepSamples(1000, rate, {std::nan(""), infinity, 1e300}), std::vector<std::int16_t>(1000, 0));
}

TEST(BeepTrack, TheFileIsACanonicalWAV) {
    const TemporaryFolder folder;
    writeBeepWAV(path(folder), 0.5, {0.1});
    const auto bytes = VarnelSpeech::Testing::readBytes(folder / "beeps.wav");
    ASSERT_EQ(bytes.size(), 44U + 16000U);
    const unsigned char head[44] = {'R', 'I', 'F', 'F', 0xa4, 0x3e, 0,   0,   'W', 'A',  'V',  'E',  'f', 'm',  't',
                                    ' ', 16,  0,   0,   0,    1,    0,   1,   0,   0x80, 0x3e, 0,    0,   0x00, 0x7d,
                                    0,   0,   2,   0,   16,   0,    'd', 'a', 't', 'a',  0x80, 0x3e, 0,   0};
    EXPECT_EQ(std::memcmp(bytes.data(), head, 44), 0);
    EXPECT_EQ(samplesOf(folder / "beeps.wav"), beepSamples(8000, rate, {0.1}));
}

TEST(BeepTrack, ANegativeDurationIsAnEmptyTrack) {
    const TemporaryFolder folder;
    writeBeepWAV(path(folder), -4, {0.1});
    EXPECT_EQ(std::filesystem::file_size(folder / "beeps.wav"), 44U);
}

TEST(BeepTrack, TheFileIsWrittenInBlocksAsIfInOnePiece) {
    EXPECT_TRUE(rc::check("blocks", [] {
        const TemporaryFolder folder;
        // Up to three blocks of 65,536 samples, beeps in any order and across their borders.
        const int sampleCount = *rc::gen::inRange(0, 180'000);
        const auto times = *rc::gen::container<std::vector<double>>(
            rc::gen::map(rc::gen::inRange(-2000, 190'000), [](int sample) { return sample / 16000.0; }));
        writeBeepWAV(path(folder), sampleCount / 16000.0, times);
        const auto written = samplesOf(folder / "beeps.wav");
        RC_ASSERT(written == beepSamples(static_cast<std::int64_t>(sampleCount / 16000.0 * 16000), rate, times));
    }));
}

TEST(BeepTrack, ReplacesWhatIsThere) {
    const TemporaryFolder folder;
    writeBeepWAV(path(folder), 2, {});
    writeBeepWAV(path(folder), 1, {});
    EXPECT_EQ(std::filesystem::file_size(folder / "beeps.wav"), 44U + 32000U);
}

TEST(BeepTrack, ATrackThatNoHeaderCanStateIsAnError) {
    const TemporaryFolder folder;
    const auto reason = [&](double duration) { return errorText([&] { writeBeepWAV(path(folder), duration, {}); }); };
    const std::string text =
        "cannot write '" + (folder / "beeps.wav").string() + "': the audio is too long for a WAV file";
    EXPECT_EQ(reason(134'217.73), text); // 2^31 samples and some: 4 GiB
    EXPECT_EQ(reason(1e300), text);
    EXPECT_EQ(reason(std::numeric_limits<double>::infinity()), text);
    EXPECT_FALSE(std::filesystem::exists(folder / "beeps.wav"));
}

TEST(BeepTrack, AFolderThatIsNotThereIsAnError) {
    const TemporaryFolder folder;
    const std::string file = (folder / "absent/beeps.wav").string();
    EXPECT_EQ(errorText([&] { writeBeepWAV(QString::fromStdString(file), 1, {}); }),
              "cannot write '" + file + "': No such file or directory");
}

} // namespace
} // namespace Varnel
