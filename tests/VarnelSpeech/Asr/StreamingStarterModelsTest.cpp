// Live recognition of real speech by the starter models.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/StreamingFixture.h"
#include "support/AudioFixtures.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>

namespace VarnelSpeech::Testing {
namespace {

// Lower-case words without punctuation.
std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words(1);
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0 || character == '\'')
            words.back() += static_cast<char>(std::tolower(byte));
        else if (!words.back().empty())
            words.emplace_back();
    }
    if (words.back().empty())
        words.pop_back();
    return words;
}

// The share of the reference's words that are heard in its order (longest common subsequence).
double overlap(const std::vector<std::string>& reference, const std::vector<std::string>& heard) {
    std::vector<std::size_t> best(heard.size() + 1, 0);
    for (const std::string& word : reference) {
        std::size_t before = 0;
        for (std::size_t i = 1; i <= heard.size(); ++i) {
            const std::size_t above = best[i];
            best[i] = word == heard[i - 1] ? before + 1 : std::max(best[i], best[i - 1]);
            before = above;
        }
    }
    return static_cast<double>(best.back()) / static_cast<double>(reference.size());
}

std::string textOf(const std::string& file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The sample conversation at 48 kHz, as a microphone delivers it.
std::vector<float> conversationAt48kHz() {
    return AudioConverter({48000}).resampleAudioFile(VARNEL_SOURCE_DIR "/samples/conversation.flac");
}

TEST(StreamingStarterModels, HearTheSampleConversationLive) {
    const AsrModels models = AsrModels::load(VARNEL_SOURCE_DIR "/models/starter/parakeet-tdt-0.6b-v3-coreml", {},
                                             AsrModelVersion::v3, DownloadUtils::Fetching::never);
    const std::vector<float> audio = conversationAt48kHz();
    Updates updates;
    StreamingAsrManager stream(StreamingAsrConfig::liveCaptions());
    stream.transcriptionUpdates(updates.sink());
    stream.start(models);
    for (std::size_t frame = 0; frame < audio.size(); frame += 4096)
        stream.streamAudio(
            PcmView::of(std::span(audio).subspan(frame, std::min<std::size_t>(4096, audio.size() - frame)), 48000, 1));
    const auto live = wordsOf(stream.finish());

    const auto reference = wordsOf(textOf(VARNEL_SOURCE_DIR "/samples/conversation.ref.txt"));
    AsrManager batch;
    batch.initialize(models);
    const auto whole = wordsOf(
        batch.transcribe(AudioConverter().resampleAudioFile(VARNEL_SOURCE_DIR "/samples/conversation.flac")).text);
    EXPECT_EQ(updates.all().size(), 24U) << "70.5 s in windows that advance by 3 s";
    // The windows are short and hear little ahead: the live text is a draft of the batch text.
    EXPECT_GT(overlap(reference, live), 0.45);
    EXPECT_GT(overlap(whole, live), 0.45);
    EXPECT_GT(overlap(reference, whole), overlap(reference, live));
    double lastTime = 0;
    for (const Update& update : updates.all())
        for (const TokenTiming& timing : update.tokenTimings)
            lastTime = std::max(lastTime, timing.endTime);
    EXPECT_GT(lastTime, 60.0);
    EXPECT_LT(lastTime, 72.0);
}

} // namespace
} // namespace VarnelSpeech::Testing
