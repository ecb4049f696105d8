#include "VarnelSpeech/Asr/AsrManager.h"

#include "VarnelSpeech/Asr/ScriptedRecognizer.h"
#include "VarnelSpeech/Shared/Cancelled.h"
#include "VarnelSpeech/Shared/MLArrayCache.h"
#include "support/AudioFixtures.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "support/ThrownText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Type = MLMultiArrayDataType;

constexpr char notInitialized[] = "AsrManager not initialized. Call initialize() first.";
constexpr char invalidAudio[] = "Invalid audio data provided. Must be at least 1 second of 16kHz audio.";

std::vector<float> audio(std::size_t samples) {
    return ScriptedRecognizer::numberedAudio(samples);
}

// All values of the session that was running when this was asked for.
std::vector<double> values(ProgressStream& stream) {
    std::vector<double> progress;
    while (const auto value = stream.next()) {
        progress.push_back(*value);
    }
    return progress;
}

class AsrManagerTest : public ::testing::Test {
protected:
    AsrManagerTest() { manager.initialize(recognizer.models()); }

    ScriptedRecognizer recognizer{{{2, 11}, {5, 22}}};
    AsrManager manager;
};

TEST_F(AsrManagerTest, TranscribesOneWindow) {
    const ASRResult result = manager.transcribe(audio(20000));
    EXPECT_EQ(result.text, "w11 w22");
    EXPECT_EQ(result.confidence, 0.5F);
    EXPECT_EQ(result.duration, 1.25);
    EXPECT_GE(result.processingTime, 0.0);
    ASSERT_EQ(result.tokenTimings->size(), 2U);
    EXPECT_EQ(result.tokenTimings->front().startTime, 2 * 0.08);
}

TEST_F(AsrManagerTest, AlignsTheLengthToTheFrameGridAndPadsToTheModelsWindow) {
    manager.transcribe(audio(20000));
    const auto& window = recognizer.windows().front();
    EXPECT_EQ(window.samples, 240000U);
    EXPECT_EQ(window.audioLength, 20480);
    EXPECT_TRUE(window.isPaddedWithZeros);
    // 16 frames: the joint network looks at no other, and no search follows at the end.
    EXPECT_EQ(recognizer.joint().callCount(), 16U);
}

TEST_F(AsrManagerTest, ALengthOnTheGridStays) {
    manager.transcribe(audio(16640));
    EXPECT_EQ(recognizer.windows().front().audioLength, 16640);
}

TEST_F(AsrManagerTest, ALengthWhoseFrameLeavesTheWindowStays) {
    manager.transcribe(audio(239999)); // aligned, 240640
    EXPECT_EQ(recognizer.windows().front().audioLength, 239999);
    EXPECT_EQ(recognizer.joint().callCount(), 188U);
}

TEST_F(AsrManagerTest, AcceptsNoLessThanASecond) {
    EXPECT_EQ(thrownText([&] { manager.transcribe(audio(15999)); }), invalidAudio);
    EXPECT_EQ(thrownText([&] { manager.transcribe(std::span<const float>()); }), invalidAudio);
    EXPECT_NO_THROW(manager.transcribe(audio(16000)));
}

TEST_F(AsrManagerTest, TakesOneWindowUpToItsSizeAndChunksFromThereOn) {
    manager.transcribe(audio(240000));
    EXPECT_EQ(recognizer.windows().size(), 1U);
    EXPECT_EQ(recognizer.windows()[0].audioLength, 240000);
    manager.transcribe(audio(240001));
    ASSERT_EQ(recognizer.windows().size(), 3U);
    EXPECT_EQ(recognizer.windows()[1].audioLength, 239360);
    EXPECT_EQ(recognizer.windows()[2].start, 207360);
    EXPECT_EQ(recognizer.windows()[2].audioLength, 32641);
}

TEST_F(AsrManagerTest, NeedsModels) {
    AsrManager bare;
    EXPECT_FALSE(bare.isAvailable());
    // Without models that is the complaint, also about audio that is too short.
    EXPECT_EQ(thrownText([&] { bare.transcribe(audio(10)); }), notInitialized);
    EXPECT_EQ(thrownText([&] { bare.transcribe(audio(16000)); }), notInitialized);
    EXPECT_EQ(thrownText([&] { bare.transcribeStreamingChunk(audio(16000), AudioSource::system, {}); }),
              notInitialized);
    EXPECT_EQ(thrownText([&] { bare.resetDecoderState(); }), notInitialized);
    TdtDecoderState state;
    EXPECT_EQ(thrownText([&] { bare.executeMLInferenceWithTimings(audio(10), {}, {}, state); }), notInitialized);
}

TEST_F(AsrManagerTest, IsAvailableWithAllFourModelsOnly) {
    EXPECT_TRUE(manager.isAvailable());
    for (const auto member : {&AsrModels::preprocessor, &AsrModels::encoder, &AsrModels::decoder, &AsrModels::joint}) {
        AsrModels models = recognizer.models();
        models.*member = nullptr;
        manager.initialize(models);
        EXPECT_FALSE(manager.isAvailable());
        EXPECT_EQ(thrownText([&] { manager.transcribe(audio(16000)); }), notInitialized);
    }
    manager.initialize(recognizer.models());
    EXPECT_TRUE(manager.isAvailable());
}

TEST_F(AsrManagerTest, LogsItsInitializationAndItsEnd) {
    const LogRecorder log;
    manager.initialize(recognizer.models());
    manager.cleanup();
    EXPECT_THAT(log.messages(AppLogger::Level::info),
                ::testing::IsSupersetOf({"Initializing AsrManager with provided models",
                                         "Token duration optimization model loaded successfully",
                                         "AsrManager initialized successfully with provided models",
                                         "AsrManager resources cleaned up"}));
}

TEST_F(AsrManagerTest, CleanupLetsGoOfTheModels) {
    std::weak_ptr<MLModel> encoder;
    {
        ScriptedRecognizer other(Speech{});
        encoder = other.models().encoder;
        manager.initialize(other.models());
    }
    EXPECT_FALSE(encoder.expired());
    manager.cleanup();
    EXPECT_TRUE(encoder.expired());
    EXPECT_FALSE(manager.isAvailable());
}

TEST_F(AsrManagerTest, ABatchTranscriptionResetsBothStates) {
    recognizer.decoder().startRecording();
    manager.transcribe(audio(20000), AudioSource::system);
    const auto calls = recognizer.decoder().recordedCalls();
    // The blank at the start, two tokens, and token 0 for each of the two states, without backings.
    ASSERT_EQ(calls.size(), 5U);
    for (const std::size_t reset : {3U, 4U}) {
        EXPECT_EQ(calls[reset].inputs.at("targets")->data<std::int32_t>()[0], 0);
        EXPECT_EQ(calls[reset].inputs.at("h_in")->data<float>()[0], 0.0F);
        EXPECT_TRUE(calls[reset].backedOutputs.empty());
    }
}

TEST_F(AsrManagerTest, AResetStateIsTheNetworksAnswerToToken0) {
    TdtDecoderState state;
    state.lastToken = 7;
    state.timeJump = 7;
    state.hiddenState->data<float>()[0] = 7.0F;
    manager.initializeDecoderState(state);
    EXPECT_EQ(state.hiddenState->data<float>()[0], 1.0F);
    EXPECT_EQ(state.cellState->data<float>()[0], 0.0F);
    EXPECT_EQ(state.lastToken, std::nullopt);
    EXPECT_EQ(state.timeJump, std::nullopt);
    EXPECT_EQ(state.predictorOutput, nullptr);
}

TEST_F(AsrManagerTest, AResetOfOneSourceAsksTheNetworkOnce) {
    manager.resetDecoderState(AudioSource::system);
    EXPECT_EQ(recognizer.decoder().callCount(), 1U);
    manager.resetState(); // needs no model
    EXPECT_EQ(recognizer.decoder().callCount(), 1U);
}

TEST_F(AsrManagerTest, AFailedResetFailsTheTranscription) {
    recognizer.decoder().failAt(3, "reset failed"); // after the start and two tokens
    EXPECT_THROW(manager.transcribe(audio(20000)), MLModelError);
}

TEST_F(AsrManagerTest, AFailedTranscriptionResetsNothing) {
    recognizer.encoder().failAt(0, "encoder failed");
    EXPECT_THROW(manager.transcribe(audio(20000)), MLModelError);
    EXPECT_EQ(recognizer.decoder().callCount(), 0U);
}

TEST_F(AsrManagerTest, V2ModelsHaveAnotherBlank) {
    // For these the scripted blank is a token like any other.
    manager.initialize(recognizer.models(AsrModelVersion::v2));
    recognizer.decoder().startRecording();
    manager.transcribe(audio(16000));
    EXPECT_EQ(recognizer.decoder().recordedCalls().front().inputs.at("targets")->data<std::int32_t>()[0], 1024);
    EXPECT_EQ(manager.config().tdtConfig.blankId, 8192);
}

TEST_F(AsrManagerTest, TheAudioTensorGoesBackToTheSharedPool) {
    MLArrayCache::shared().clear();
    manager.transcribe(audio(16000));
    const auto pooled = MLArrayCache::shared().getArray({1, 240000}, Type::float32);
    EXPECT_EQ(pooled->data<float>()[15999], 15999.0F);
    MLArrayCache::shared().returnArray(pooled);
}

TEST(AsrManager, PrewarmsTheSharedPoolAtConstruction) {
    const LogRecorder log;
    { const AsrManager manager; } // its tasks have ended with it
    EXPECT_THAT(log.messages(AppLogger::Level::info), ::testing::Contains("Pre-warming cache with 3 shapes"));
    EXPECT_THAT(log.messages(AppLogger::Level::error), ::testing::IsEmpty());
}

TEST(AsrManager, ManyShortLivedManagersDoNoHarm) {
    for (int round = 0; round < 50; ++round) {
        AsrManager manager;
        if (round % 2 == 0) {
            manager.progressStream();
        }
    }
}

// MARK: executeMLInferenceWithTimings

TEST_F(AsrManagerTest, InferenceReturnsTheEncodersLength) {
    recognizer.setEncoderLength(50);
    TdtDecoderState state;
    const auto [hypothesis, length] = manager.executeMLInferenceWithTimings(audio(240000), {}, {}, state);
    EXPECT_EQ(length, 50);
    EXPECT_EQ(recognizer.windows().front().audioLength, 240000);
    EXPECT_EQ(recognizer.joint().callCount(), 50U);
}

TEST_F(AsrManagerTest, InferenceShiftsTimestampsByTheGlobalOffset) {
    TdtDecoderState state;
    const auto [hypothesis, length] =
        manager.executeMLInferenceWithTimings(audio(240000), 12800, {}, state, 0, false, 1000);
    EXPECT_EQ(hypothesis.timestamps, (std::vector<int>{1002, 1005}));
    EXPECT_EQ(recognizer.joint().callCount(), 10U);
}

TEST_F(AsrManagerTest, AnEncoderWithoutItsOutputsFails) {
    const auto failure = [&](const char* output) {
        const auto encoder = std::make_shared<ScriptedModel>(
            recognizer.encoder().modelDescription(), [output](ScriptedModel::Call& call) { call.omitOutput(output); });
        AsrModels models = recognizer.models();
        models.encoder = encoder;
        manager.initialize(models);
        return thrownText([&] { manager.transcribe(audio(16000)); });
    };
    EXPECT_EQ(failure("encoder"), processingFailed("Invalid encoder output"));
    EXPECT_EQ(failure("encoder_length"), processingFailed("Invalid encoder output length"));
}

TEST_F(AsrManagerTest, AnEncoderLengthThatIsNoIntegerFails) {
    const auto failure = [&](const std::shared_ptr<MLMultiArray>& length) {
        const auto encoder = std::make_shared<ScriptedModel>(
            recognizer.encoder().modelDescription(),
            [length](ScriptedModel::Call& call) { call.setOutput("encoder_length", length); });
        AsrModels models = recognizer.models();
        models.encoder = encoder;
        manager.initialize(models);
        return thrownText([&] { manager.transcribe(audio(16000)); });
    };
    const auto number = [](float value) {
        auto tensor = MLMultiArray::make({1}, Type::float32);
        tensor->data<float>()[0] = value;
        return tensor;
    };
    const std::string invalid = processingFailed("Invalid encoder output length");
    EXPECT_EQ(failure(MLMultiArray::make({0}, Type::int32)), invalid);
    EXPECT_EQ(failure(number(std::numeric_limits<float>::quiet_NaN())), invalid);
    EXPECT_EQ(failure(number(1e20F)), invalid);
    EXPECT_EQ(failure(MLMultiArray::make({1}, Type::float16)), invalid);
    EXPECT_EQ(failure(number(1.0F)), "(no error)"); // a float that is an integer: an empty window
}

TEST_F(AsrManagerTest, AnEncoderLengthBelowTwoIsAnEmptyTranscript) {
    for (const int length : {-5, 0, 1}) {
        recognizer.setEncoderLength(length);
        const ASRResult result = manager.transcribe(audio(16000));
        EXPECT_EQ(result.text, "");
        EXPECT_EQ(result.confidence, 0.1F);
    }
}

// MARK: Files and buffers

TEST_F(AsrManagerTest, TranscribesAFile) {
    const TemporaryFolder folder;
    const auto file = folder / "two seconds.wav";
    writeAudio(file, FixtureFormat::wavFloat, 8000, 2, tone(440, 8000, 2, 16000));
    const ASRResult result = manager.transcribe(file);
    EXPECT_NEAR(result.duration, 2.0, 0.01);
    EXPECT_EQ(recognizer.windows().size(), 1U);
}

TEST_F(AsrManagerTest, TranscribesABufferOfTheTargetFormatAsItIs) {
    PcmBuffer buffer(AudioFormat::speech(), 20000);
    buffer.floatPlane(0)[0] = 3840.0F; // where the scripted audio begins: frame 3
    manager.transcribe(buffer);
    EXPECT_EQ(recognizer.windows().front().start, 3840);
}

TEST_F(AsrManagerTest, ConvertsABufferOfAnotherFormat) {
    AudioFormat format = AudioFormat::speech();
    format.sampleRate = 32000;
    EXPECT_NEAR(manager.transcribe(PcmBuffer(format, 64000)).duration, 2.0, 0.01);
}

TEST_F(AsrManagerTest, ABufferWithoutFramesIsTooShort) {
    EXPECT_EQ(thrownText([&] { manager.transcribe(PcmBuffer(AudioFormat::speech(), 0)); }), invalidAudio);
}

// MARK: Progress and stopping

TEST_F(AsrManagerTest, ReportsTheProgressOfLongAudio) {
    const auto stream = manager.progressStream();
    manager.transcribe(audio(500000));
    // Windows at 0, 207360 and 414720; the last reports nothing of its own.
    EXPECT_THAT(values(*stream), ::testing::ElementsAre(239360.0 / 500000.0, 446720.0 / 500000.0, 1.0));
}

TEST_F(AsrManagerTest, AFailureOfLongAudioEndsItsProgressWithTheError) {
    recognizer.encoder().failAt(1, "encoder failed");
    const auto stream = manager.progressStream();
    EXPECT_THROW(manager.transcribe(audio(500000)), MLModelError);
    EXPECT_EQ(stream->next(), 239360.0 / 500000.0);
    EXPECT_THROW(stream->next(), MLModelError);
}

TEST_F(AsrManagerTest, ShortAudioHasNoProgressSession) {
    const auto stream = manager.progressStream();
    manager.transcribe(audio(240000));
    EXPECT_EQ(manager.progressStream(), stream); // still the same, neither ended nor renewed
}

TEST_F(AsrManagerTest, AStopEndsTheTranscriptionBetweenWindows) {
    std::stop_source stop;
    manager.setStopToken(stop.get_token());
    const auto stream = manager.progressStream();
    const auto preprocessor =
        std::make_shared<ScriptedModel>(recognizer.preprocessor().modelDescription(), [&](ScriptedModel::Call& call) {
            if (call.index() == 1) {
                stop.request_stop();
            }
        });
    AsrModels models = recognizer.models();
    models.preprocessor = preprocessor;
    manager.initialize(models);
    EXPECT_THROW(manager.transcribe(audio(1000000)), Cancelled);
    EXPECT_EQ(preprocessor->callCount(), 2U);
    EXPECT_EQ(stream->next(), 0.23936);
    EXPECT_EQ(stream->next(), 0.44672);
    EXPECT_THROW(stream->next(), Cancelled);
    // A new token, and it runs again.
    manager.setStopToken({});
    EXPECT_NO_THROW(manager.transcribe(audio(16000)));
}

TEST_F(AsrManagerTest, AStopBeforeTheStartRunsNothing) {
    std::stop_source stop;
    stop.request_stop();
    manager.setStopToken(stop.get_token());
    EXPECT_THROW(manager.transcribe(audio(16000)), Cancelled);
    const TemporaryFolder folder;
    writeAudio(folder / "a.wav", FixtureFormat::wavFloat, 16000, 1, tone(440, 16000, 1, 32000));
    EXPECT_THROW(manager.transcribe(folder / "a.wav"), Cancelled);
    EXPECT_TRUE(recognizer.windows().empty());
}

} // namespace
} // namespace VarnelSpeech::Testing
