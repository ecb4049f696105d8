#include "EndToEnd/Sandbox.h"

#include "VarnelSpeech/Shared/AudioConverter.h"
#include "support/AudioFixtures.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace Varnel::Testing {
namespace {

using VarnelSpeech::Testing::FixtureFormat;
using VarnelSpeech::Testing::writeAudio;

constexpr int rate = 8000;
constexpr int twoHours = 2 * 60 * 60;
constexpr int between = 20 * 60; // seconds from one piece of speech to the next
constexpr int pieces = twoHours / between;
constexpr int spoken = 6; // seconds

class LongFileTest : public Sandbox {
protected:
    // A few seconds over the telephone, and two hours that are silent but for the same seconds here and there.
    void SetUp() override {
        const VarnelSpeech::AudioConverter converter(VarnelSpeech::AudioFormat{rate});
        auto speech = converter.resampleAudioFile(VARNEL_SOURCE_DIR "/samples/conversation.flac");
        speech.resize(std::size_t{spoken} * rate);
        writeAudio(path("piece.flac"), FixtureFormat::flac, rate, 1, speech);
        std::vector<float> call(std::size_t{twoHours} * rate);
        for (std::size_t begin = 0; begin < call.size(); begin += std::size_t{between} * rate)
            std::copy(speech.begin(), speech.end(), call.begin() + static_cast<std::ptrdiff_t>(begin));
        writeAudio(path("long call.flac"), FixtureFormat::flac, rate, 1, call);
    }

    static std::ptrdiff_t wordsIn(const nlohmann::json& transcript) {
        std::ptrdiff_t words = 0;
        for (const auto& segment : transcript["segments"]) {
            const std::string text = segment["text"];
            words += 1 + std::count(text.begin(), text.end(), ' ');
        }
        return words;
    }
};

TEST_F(LongFileTest, OfTwoHoursIsTranscribedSavedAndExported) {
    const auto piece = nlohmann::json::parse(output({"transcribe", "--format", "json", "-q", "piece.flac"}));
    const auto transcript =
        nlohmann::json::parse(output({"transcribe", "--save", "--format", "json", "-q", "long call.flac"}));
    EXPECT_EQ(transcript["duration"], twoHours);
    ASSERT_GT(wordsIn(piece), 5);
    // Each piece is heard about as it is alone, wherever it lies in a window, and silence is heard as nothing.
    EXPECT_GT(wordsIn(transcript), pieces * wordsIn(piece) * 2 / 3);
    EXPECT_LT(wordsIn(transcript), pieces * wordsIn(piece) * 4 / 3);

    const auto meetings = nlohmann::json::parse(output({"meetings", "list", "--json"}));
    ASSERT_EQ(meetings.size(), 1U);
    EXPECT_EQ(meetings[0]["duration"], twoHours);
    EXPECT_EQ(nlohmann::json::parse(output({"meetings", "export", "latest", "--format", "json"})), transcript);
}

} // namespace
} // namespace Varnel::Testing
