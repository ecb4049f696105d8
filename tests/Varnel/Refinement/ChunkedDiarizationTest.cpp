#include "Varnel/Refinement/ChunkedDiarization.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Shared/Cancelled.h"
#include "support/ScriptedDiarizer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace Varnel {
namespace {

using VarnelSpeech::DiarizerError;
using VarnelSpeech::Testing::ScriptedDiarizer;

class ChunkedDiarizationTest : public ::testing::Test {
protected:
    ChunkedDiarizationTest() {
        networks_.hear(ScriptedDiarizer::first, 0, 300);
        networks_.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call); };
    }

    ScriptedDiarizer networks_;
    ChunkedDiarization diarization_{[this] { return networks_.models(); }};
    const std::vector<float> samples_ = std::vector<float>(320000, 0.25F);
};

TEST_F(ChunkedDiarizationTest, NumbersTheSpeakersOfEachRecordingFromOne) {
    diarization_.loadModels();
    for (int run = 0; run < 2; ++run) {
        const auto segments = diarization_.diarize(samples_, 16000, 0, {}).segments;
        ASSERT_EQ(segments.size(), 2U);
        EXPECT_EQ(segments[0].speakerId, "1");
        EXPECT_EQ(segments[1].speakerId, "2");
    }
}

TEST_F(ChunkedDiarizationTest, ForgetsTheVoicesOfARecordingThatFailed) {
    diarization_.loadModels();
    networks_.segmentation->failAt(1);
    EXPECT_THROW(diarization_.diarize(samples_, 16000, 0, {}), VarnelSpeech::MLModelError);
    EXPECT_EQ(diarization_.diarize(samples_, 16000, 0, {}).segments.at(0).speakerId, "1");
}

TEST_F(ChunkedDiarizationTest, UsesTheStandardSettings) {
    diarization_.loadModels();
    const auto result = diarization_.diarize(samples_, 16000, 5, {});
    EXPECT_EQ(result.segments.at(0).startTimeSeconds, 5);
    EXPECT_FALSE(result.timings);
}

TEST_F(ChunkedDiarizationTest, PassesStopAndProgressOn) {
    diarization_.loadModels();
    std::vector<double> shares;
    std::stop_source stop;
    const auto progress = [&](double share) { shares.push_back(share); };
    diarization_.diarize(samples_, 16000, 0, stop.get_token(), progress);
    EXPECT_EQ(shares, (std::vector<double>{0.5, 1}));
    stop.request_stop();
    EXPECT_THROW(diarization_.diarize(samples_, 16000, 0, stop.get_token()), VarnelSpeech::Cancelled);
}

TEST_F(ChunkedDiarizationTest, NeedsItsModelsFirst) {
    EXPECT_THROW(diarization_.diarize(samples_, 16000, 0, {}), DiarizerError);
    ChunkedDiarization broken([]() -> VarnelSpeech::DiarizerModels { throw std::runtime_error("no models here"); });
    EXPECT_THROW(broken.loadModels(), std::runtime_error);
}

} // namespace
} // namespace Varnel
