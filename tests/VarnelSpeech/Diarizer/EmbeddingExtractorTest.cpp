#include "VarnelSpeech/Diarizer/EmbeddingExtractor.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "support/LogRecorder.h"
#include "support/ScriptedDiarizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace VarnelSpeech {
namespace {

using testing::Each;
using Testing::ScriptedDiarizer;
using Testing::ScriptedModel;
using Masks = std::vector<std::vector<float>>;

constexpr std::size_t window = 160000;
constexpr std::size_t frames = ScriptedDiarizer::frameCount;

const std::vector<float> silence(256);

std::vector<float> mask(std::size_t active, std::size_t length = frames) {
    std::vector<float> values(length);
    std::fill_n(values.begin(), active, 1.0F);
    return values;
}

std::vector<float> ramp(std::size_t count) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), 1.0F);
    return samples;
}

class EmbeddingExtractorTest : public testing::Test {
protected:
    EmbeddingExtractorTest() { diarizer.embedding->startRecording(); }

    // One slot of an input of the last call.
    std::vector<float> slot(const std::string& name, std::size_t index) const {
        const auto tensor = diarizer.embedding->recordedCalls().back().inputs.at(name);
        const auto width = static_cast<std::size_t>(tensor->shape()[1]);
        const float* first = tensor->data<float>() + index * width;
        return {first, first + width};
    }

    // The error that an answer of another kind ends with.
    std::string refusal(const MLShape& shape, MLMultiArrayDataType type = MLMultiArrayDataType::float32) {
        auto model = std::make_shared<ScriptedModel>(
            Testing::describeModel({{"waveform", {3, 160000}}, {"mask", {3, 592}}}, {{"embedding", {3, 256}}}),
            [&](ScriptedModel::Call& call) { call.setOutput("embedding", MLMultiArray::make(shape, type)); });
        EmbeddingExtractor other(model);
        try {
            other.extractEmbeddings(std::vector<float>(window), Masks{mask(5)}, 1);
        } catch (const DiarizerError& error) {
            EXPECT_EQ(error.error(), DiarizerError::Case::processingFailed);
            return error.what();
        }
        return "(no error)";
    }

    Testing::LogRecorder log;
    ScriptedDiarizer diarizer;
    EmbeddingExtractor extractor{diarizer.embedding};
};

TEST_F(EmbeddingExtractorTest, SaysThatItIsReady) {
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].category, "EmbeddingExtractor");
    EXPECT_EQ(lines[0].message, "EmbeddingExtractor ready with ANE memory optimizer");
}

TEST_F(EmbeddingExtractorTest, AsksTheNetworkForEverySpeakerWhoIsActiveEnough) {
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call); };
    const auto embeddings =
        extractor.extractEmbeddings(std::vector<float>(window), Masks{mask(10), mask(9), mask(11)}, 10);
    ASSERT_EQ(embeddings.size(), 3U);
    EXPECT_EQ(embeddings[0], ScriptedDiarizer::voice(0)); // the threshold itself is enough
    EXPECT_EQ(embeddings[1], silence);
    EXPECT_EQ(embeddings[2], ScriptedDiarizer::voice(1));
    EXPECT_EQ(diarizer.embedding->callCount(), 2U);
}

TEST_F(EmbeddingExtractorTest, SparesTheNetworkSilentSpeakers) {
    const auto embeddings =
        extractor.extractEmbeddings(std::vector<float>(window), Masks{mask(0), mask(0), mask(0)}, 10);
    EXPECT_EQ(embeddings, Masks(3, silence));
    EXPECT_EQ(diarizer.embedding->callCount(), 0U);
}

TEST_F(EmbeddingExtractorTest, HasNothingToDoWithoutMasks) {
    EXPECT_TRUE(extractor.extractEmbeddings(std::vector<float>(window), {}, 0).empty());
    EXPECT_EQ(extractor.extractEmbeddings(std::vector<float>(window), Masks{{}, {}}, 0.5F), Masks(2, silence));
    EXPECT_EQ(diarizer.embedding->callCount(), 0U);
}

TEST_F(EmbeddingExtractorTest, FillsTheFirstSlotAlone) {
    const auto samples = ramp(window);
    extractor.extractEmbeddings(samples, Masks{mask(20)}, 10);
    EXPECT_EQ(slot("waveform", 0), samples);
    EXPECT_EQ(slot("mask", 0), mask(20));
    for (const std::size_t other : {1U, 2U}) {
        EXPECT_THAT(slot("waveform", other), Each(0.0F));
        EXPECT_THAT(slot("mask", other), Each(0.0F));
    }
}

TEST_F(EmbeddingExtractorTest, RepeatsShortAudioAndItsMask) {
    const auto samples = ramp(40000);
    extractor.extractEmbeddings(samples, Masks{mask(20)}, 10);
    const auto waveform = slot("waveform", 0);
    for (std::size_t copy = 0; copy < 4; ++copy)
        EXPECT_TRUE(
            std::equal(samples.begin(), samples.end(), waveform.begin() + static_cast<std::ptrdiff_t>(copy) * 40000));
    // 148 frames are a quarter of the window.
    const auto tiled = slot("mask", 0);
    for (std::size_t frame = 0; frame < frames; ++frame)
        EXPECT_EQ(tiled[frame], frame % 148 < 20 ? 1.0F : 0.0F) << frame;
}

TEST_F(EmbeddingExtractorTest, RoundsTheFramesThatAudioCovers) {
    const auto active = [&](std::size_t samples) {
        extractor.extractEmbeddings(ramp(samples), Masks{mask(1)}, 1);
        const auto tiled = slot("mask", 0);
        return std::accumulate(tiled.begin(), tiled.end(), 0.0F);
    };
    EXPECT_EQ(active(135), 0);            // 592 * 135 is less than half a frame: nothing is covered
    EXPECT_EQ(active(136), 592);          // one frame, again and again
    EXPECT_EQ(active(window / 2), 2);     // 296 frames, twice
    EXPECT_EQ(active(window - 1), 1);     // all of them
    EXPECT_EQ(active(window - 136), 2);   // 591 frames, and the first once more
    EXPECT_EQ(active(window + 50000), 1); // never more than there are
    EXPECT_EQ(active(10 * window), 1);
}

TEST_F(EmbeddingExtractorTest, CutsAShortAudioInTheMiddleOfACopy) {
    const auto samples = ramp(70000);
    extractor.extractEmbeddings(samples, Masks{mask(20)}, 10);
    const auto waveform = slot("waveform", 0);
    EXPECT_EQ(waveform[139999], 70000);
    EXPECT_EQ(waveform[140000], 1);
    EXPECT_EQ(waveform[159999], 20000);
}

TEST_F(EmbeddingExtractorTest, LeavesNothingOfOneCallToTheNext) {
    extractor.extractEmbeddings(ramp(3 * window), Masks{mask(frames)}, 10);
    EXPECT_EQ(slot("waveform", 2).back(), 480000); // audio that is too long runs into slots that nobody reads
    extractor.extractEmbeddings(ramp(50), Masks{mask(20)}, 10);
    EXPECT_THAT(slot("waveform", 1), Each(0.0F));
    EXPECT_EQ(slot("waveform", 0)[159999], 50);
    extractor.extractEmbeddings({}, Masks{mask(20)}, 10);
    EXPECT_THAT(slot("waveform", 0), Each(0.0F));
    EXPECT_THAT(slot("mask", 0), Each(0.0F));
}

TEST_F(EmbeddingExtractorTest, TakesMasksShorterThanTheFirst) {
    extractor.extractEmbeddings(ramp(window), Masks{mask(20), mask(15, 15)}, 10);
    EXPECT_EQ(slot("mask", 0), mask(15));
}

TEST_F(EmbeddingExtractorTest, GivesZerosWhenTheNetworkAnswersWithoutAVoice) {
    auto model = std::make_shared<ScriptedModel>(diarizer.embedding->modelDescription(), [](ScriptedModel::Call& call) {
        if (call.index() == 0)
            call.omitOutput("embedding");
        else
            call.setFloat("embedding", 3, 255);
    });
    EmbeddingExtractor other(model);
    const auto embeddings = other.extractEmbeddings(ramp(window), Masks{mask(20), mask(20)}, 10);
    EXPECT_EQ(embeddings[0], silence);
    EXPECT_EQ(embeddings[1].back(), 3);
}

TEST_F(EmbeddingExtractorTest, EndsWithTheNetworksError) {
    diarizer.embedding->failAt(1, "the network broke");
    try {
        extractor.extractEmbeddings(ramp(window), Masks{mask(20), mask(20), mask(20)}, 10);
        FAIL() << "nothing was thrown";
    } catch (const MLModelError& error) {
        EXPECT_STREQ(error.what(), "the network broke");
    }
    EXPECT_EQ(diarizer.embedding->callCount(), 2U);
}

TEST_F(EmbeddingExtractorTest, RefusesVoicesOfAnotherShapeOrType) {
    EXPECT_EQ(refusal({3, 128}), "Processing failed: embedding output is Float32 [3, 128], expected Float32 [3, 256]");
    EXPECT_EQ(refusal({256}), "Processing failed: embedding output is Float32 [256], expected Float32 [3, 256]");
    EXPECT_EQ(refusal({0, 256}), "Processing failed: embedding output is Float32 [0, 256], expected Float32 [3, 256]");
    EXPECT_EQ(refusal({3, 256}, MLMultiArrayDataType::float64),
              "Processing failed: embedding output is Double [3, 256], expected Float32 [3, 256]");
}

TEST_F(EmbeddingExtractorTest, FollowsTheStridesOfAnAnswer) {
    std::vector<float> memory(3 * 256);
    std::iota(memory.begin(), memory.end(), 0.0F);
    auto model =
        std::make_shared<ScriptedModel>(diarizer.embedding->modelDescription(), [&](ScriptedModel::Call& call) {
            call.setOutput("embedding",
                           std::make_shared<MLMultiArray>(memory.data(), MLShape{3, 256}, MLMultiArrayDataType::float32,
                                                          MLShape{1, 3}, nullptr));
        });
    const auto embeddings = EmbeddingExtractor(model).extractEmbeddings(ramp(window), Masks{mask(20)}, 10);
    EXPECT_EQ(embeddings[0][1], 3);
    EXPECT_EQ(embeddings[0][255], 765);
}

TEST_F(EmbeddingExtractorTest, TellsWhenTheRuntimeRefusesTheMask) {
    // The network was made for another number of frames.
    EXPECT_THROW(extractor.extractEmbeddings(ramp(window), Masks{mask(20, 589)}, 10), MLModelError);
}

} // namespace
} // namespace VarnelSpeech
