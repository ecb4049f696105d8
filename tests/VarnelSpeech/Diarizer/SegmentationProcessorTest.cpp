#include "VarnelSpeech/Diarizer/SegmentationProcessor.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "support/ScriptedDiarizer.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

namespace VarnelSpeech {
namespace {

using Testing::ScriptedDiarizer;
using Testing::ScriptedModel;
using Type = MLMultiArrayDataType;

constexpr std::size_t window = 160000;

class SegmentationProcessorTest : public testing::Test {
protected:
    SpeakerActivity segment(std::span<const float> audio) {
        return processor.segment(audio, window, *diarizer.segmentation);
    }

    // What the network got in its last call.
    std::vector<float> heardAudio() const {
        const auto audio = diarizer.segmentation->recordedCalls().back().inputs.at("audio");
        EXPECT_EQ(audio->shape(), (MLShape{1, 1, 160000}));
        return {audio->data<float>(), audio->data<float>() + audio->count()};
    }

    // The error that an answer of another kind ends with.
    std::string refusal(const std::shared_ptr<MLMultiArray>& answer) {
        ScriptedModel model(Testing::describeModel({{"audio", {1, 1, 160000}}}, {{"segments", {1, 592, 7}}}),
                            [&](ScriptedModel::Call& call) {
                                if (answer)
                                    call.setOutput("segments", answer);
                                else
                                    call.omitOutput("segments");
                            });
        try {
            processor.segment(std::vector<float>(16), window, model);
        } catch (const DiarizerError& error) {
            EXPECT_EQ(error.error(), DiarizerError::Case::processingFailed);
            return error.what();
        }
        return "(no error)";
    }

    ScriptedDiarizer diarizer;
    SegmentationProcessor processor;
};

TEST_F(SegmentationProcessorTest, TellsWhoIsActiveInEachFrame) {
    diarizer.hear(ScriptedDiarizer::third, 100, 200);
    diarizer.hear(ScriptedDiarizer::secondAndThird, 150, 160);
    const SpeakerActivity activity = segment(std::vector<float>(window));
    EXPECT_EQ(activity.frameCount(), 592U);
    EXPECT_EQ(activity.total(0), 0);
    EXPECT_EQ(activity.total(1), 10);
    EXPECT_EQ(activity.total(2), 100);
    EXPECT_EQ(activity.at(99, 2), 0);
    EXPECT_EQ(activity.at(100, 2), 1);
    EXPECT_EQ(activity.at(199, 2), 1);
    EXPECT_EQ(activity.at(200, 2), 0);
}

TEST_F(SegmentationProcessorTest, FillsUpShortAudioWithZeros) {
    diarizer.segmentation->startRecording();
    segment(std::vector<float>(window, 1)); // leaves nothing behind
    segment(std::vector<float>(window - 1, 0.5F));
    const auto audio = heardAudio();
    EXPECT_EQ(audio.front(), 0.5F);
    EXPECT_EQ(audio[window - 2], 0.5F);
    EXPECT_EQ(audio[window - 1], 0);
    segment({});
    EXPECT_EQ(heardAudio(), std::vector<float>(window));
}

TEST_F(SegmentationProcessorTest, CutsLongAudioSilently) {
    diarizer.segmentation->startRecording();
    std::vector<float> samples(200000);
    std::iota(samples.begin(), samples.end(), 0.0F);
    segment(samples);
    EXPECT_EQ(heardAudio(), std::vector<float>(samples.begin(), samples.begin() + window));
}

TEST_F(SegmentationProcessorTest, RefusesAnAnswerWithoutSegments) {
    EXPECT_EQ(refusal(nullptr), "Processing failed: Missing segments output from segmentation model");
}

TEST_F(SegmentationProcessorTest, RefusesSegmentsOfAnotherShapeOrType) {
    const auto refused = [&](const MLShape& shape, Type type = Type::float32) {
        return refusal(MLMultiArray::make(shape, type));
    };
    const std::string expected = ", expected Float32 [1, F, 7] with 1 to 160000 frames";
    EXPECT_EQ(refused({1, 592, 8}), "Processing failed: segments output is Float32 [1, 592, 8]" + expected);
    EXPECT_EQ(refused({1, 592, 1}), "Processing failed: segments output is Float32 [1, 592, 1]" + expected);
    EXPECT_EQ(refused({592, 7}), "Processing failed: segments output is Float32 [592, 7]" + expected);
    EXPECT_EQ(refused({1, 0, 7}), "Processing failed: segments output is Float32 [1, 0, 7]" + expected);
    EXPECT_EQ(refused({0, 592, 7}), "Processing failed: segments output is Float32 [0, 592, 7]" + expected);
    EXPECT_EQ(refused({1, 160001, 7}), "Processing failed: segments output is Float32 [1, 160001, 7]" + expected);
    EXPECT_EQ(refused({1, 592, 7}, Type::float16),
              "Processing failed: segments output is Float16 [1, 592, 7]" + expected);
}

TEST_F(SegmentationProcessorTest, ReadsTheFirstOfABatchAndFollowsStrides) {
    std::vector<float> memory(2 * 2 * 7 * 3);
    const auto answer = std::make_shared<MLMultiArray>(memory.data(), MLShape{2, 2, 7}, Type::float32,
                                                       MLShape{2 * 7 * 3, 3, 6}, nullptr);
    memory[3 + 5 * 6] = 1; // frame 1, class 5
    ScriptedModel model(Testing::describeModel({{"audio", {1, 1, 160000}}}, {{"segments", {-1, -1, 7}}}),
                        [&](ScriptedModel::Call& call) { call.setOutput("segments", answer); });
    const SpeakerActivity activity = processor.segment(std::vector<float>(16), window, model);
    EXPECT_EQ(activity.frameCount(), 2U);
    EXPECT_EQ(activity.total(0), 1);
    EXPECT_EQ(activity.total(1), 0);
    EXPECT_EQ(activity.at(1, 2), 1);
}

TEST_F(SegmentationProcessorTest, PassesTheNetworksErrorsOn) {
    diarizer.segmentation->failAt(0, "the network broke");
    try {
        segment(std::vector<float>(16));
        FAIL() << "nothing was thrown";
    } catch (const MLModelError& error) {
        EXPECT_STREQ(error.what(), "the network broke");
    }
}

TEST_F(SegmentationProcessorTest, TellsWhenTheInputTakesTooMuchMemory) {
    for (const std::size_t huge : {std::size_t{1} << 62, std::numeric_limits<std::size_t>::max()}) {
        try {
            processor.segment(std::vector<float>(16), huge, *diarizer.segmentation);
            FAIL() << "nothing was thrown";
        } catch (const DiarizerError& error) {
            EXPECT_EQ(error.error(), DiarizerError::Case::memoryAllocationFailed);
        }
    }
}

} // namespace
} // namespace VarnelSpeech
