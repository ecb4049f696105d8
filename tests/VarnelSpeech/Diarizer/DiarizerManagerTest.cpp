#include "VarnelSpeech/Diarizer/DiarizerManager.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Shared/Cancelled.h"
#include "support/LogRecorder.h"
#include "support/ScriptedDiarizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <limits>
#include <new>

#include <sys/mman.h>

namespace VarnelSpeech {
namespace {

using Testing::ScriptedDiarizer;
using Heard = ScriptedDiarizer::Heard;

constexpr std::size_t chunk = 160000;

// Four hours of silence that take no memory: untouched pages are all the same page of zeros.
class FourHours {
public:
    FourHours() : memory_(mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
        if (memory_ == MAP_FAILED)
            throw std::bad_alloc();
    }

    ~FourHours() { munmap(memory_, bytes); }

    FourHours(const FourHours&) = delete;
    FourHours& operator=(const FourHours&) = delete;

    std::span<const float> view() const { return {static_cast<const float*>(memory_), bytes / sizeof(float)}; }

private:
    static constexpr std::size_t bytes = std::size_t{4} * 3600 * 16000 * sizeof(float);
    void* memory_;
};

class DiarizerManagerTest : public testing::Test {
protected:
    DiarizerManagerTest() { manager.initialize(diarizer.models()); }

    // A new manager of other settings, with the same networks.
    void configure(const DiarizerConfig& config) {
        manager_.emplace(config);
        manager_->initialize(diarizer.models());
    }

    DiarizationResult diarize(std::size_t samples, double atTime = 0) {
        return (manager_ ? *manager_ : manager).diarize(std::vector<float>(samples, 0.25F), 16000, atTime);
    }

    static DiarizerError::Case errorOf(const std::function<void()>& operation) {
        try {
            operation();
        } catch (const DiarizerError& error) {
            return error.error();
        }
        throw std::logic_error("nothing was thrown");
    }

    ScriptedDiarizer diarizer;
    DiarizerManager manager;

private:
    std::optional<DiarizerManager> manager_;
};

TEST_F(DiarizerManagerTest, HasASpeakerDatabaseFromTheBeginning) {
    const DiarizerManager fresh;
    EXPECT_FALSE(fresh.isAvailable());
    EXPECT_EQ(fresh.speakerManager().speakerThreshold(), 0.7F * 1.2F);
    EXPECT_EQ(fresh.speakerManager().embeddingThreshold(), 0.7F * 0.8F);
    EXPECT_EQ(fresh.speakerManager().minSpeechDuration(), 1.0F);
    EXPECT_EQ(fresh.speakerManager().minEmbeddingUpdateDuration(), 2.0F);
    EXPECT_EQ(fresh.config(), DiarizerConfig::standard);
}

TEST_F(DiarizerManagerTest, NeedsItsModelsEvenForNothing) {
    DiarizerManager fresh;
    for (const std::size_t count : {0U, 16000U})
        EXPECT_EQ(errorOf([&] { fresh.diarize(std::vector<float>(count)); }), DiarizerError::Case::notInitialized);
    EXPECT_TRUE(manager.isAvailable());
    manager.cleanup();
    EXPECT_FALSE(manager.isAvailable());
    EXPECT_EQ(errorOf([&] { diarize(0); }), DiarizerError::Case::notInitialized);
    manager.initialize(diarizer.models());
    EXPECT_TRUE(diarize(0).segments.empty());
}

TEST_F(DiarizerManagerTest, LogsWhatBecomesOfItsModels) {
    const Testing::LogRecorder log;
    manager.initialize(diarizer.models());
    manager.cleanup();
    std::vector<std::string> lines;
    for (const auto& line : log.lines())
        if (line.category == "Diarizer")
            lines.push_back(line.message);
    EXPECT_EQ(lines, (std::vector<std::string>{"Initializing diarization system",
                                               "EmbeddingExtractor initialized with embedding model",
                                               "Diarization resources cleaned up"}));
}

TEST_F(DiarizerManagerTest, FindsNobodyInNothing) {
    const DiarizationResult result = diarize(0);
    EXPECT_TRUE(result.segments.empty());
    EXPECT_FALSE(result.speakerDatabase);
    EXPECT_FALSE(result.timings);
    EXPECT_EQ(diarizer.segmentation->callCount(), 0U);
}

TEST_F(DiarizerManagerTest, TellsSpeakersApartByTheirVoices) {
    diarizer.hear(Heard::first, 0, 200);
    diarizer.hear(Heard::second, 200, 400);
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call); };
    const auto segments = diarize(chunk).segments;
    ASSERT_EQ(segments.size(), 2U);
    EXPECT_EQ(segments[0].speakerId, "1");
    EXPECT_EQ(segments[0].startTimeSeconds, 0);
    EXPECT_FLOAT_EQ(segments[0].endTimeSeconds, 3.375F);
    EXPECT_EQ(segments[0].embedding, ScriptedDiarizer::voice(0)); // as the network gave it, not of unit length
    EXPECT_EQ(segments[1].speakerId, "2");
    EXPECT_FLOAT_EQ(segments[1].startTimeSeconds, 3.375F);
    EXPECT_FLOAT_EQ(segments[1].endTimeSeconds, 6.75F);
    EXPECT_FLOAT_EQ(segments[1].qualityScore, 1);
}

TEST_F(DiarizerManagerTest, KnowsAVoiceAgainInLaterChunksAndCalls) {
    diarizer.heard = [](std::size_t window, std::int64_t) { return window % 2 == 0 ? Heard::first : Heard::third; };
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call == 2 ? 1 : 0); };
    const auto first = diarize(2 * chunk).segments;
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0].speakerId, "1");
    EXPECT_EQ(first[1].speakerId, "1"); // another local index, the same voice
    EXPECT_FLOAT_EQ(first[1].startTimeSeconds, 10);
    EXPECT_EQ(diarize(chunk).segments.at(0).speakerId, "2"); // the numbering goes on
    manager.speakerManager().reset();
    EXPECT_EQ(diarize(chunk).segments.at(0).speakerId, "1");
}

TEST_F(DiarizerManagerTest, HandsOnlyCleanFramesToTheEmbedding) {
    diarizer.hear(Heard::first, 0, 300);
    diarizer.hear(Heard::firstAndSecond, 100, 200);
    diarizer.hear(Heard::second, 300, 400);
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call); };
    diarizer.embedding->startRecording();
    const auto segments = diarize(chunk).segments;
    const auto calls = diarizer.embedding->recordedCalls();
    ASSERT_EQ(calls.size(), 2U);
    const auto maskAt = [&](std::size_t call, std::size_t frame) {
        return calls[call].inputs.at("mask")->data<float>()[frame];
    };
    EXPECT_EQ(maskAt(0, 99), 1);
    EXPECT_EQ(maskAt(0, 150), 0);
    EXPECT_EQ(maskAt(0, 200), 1);
    EXPECT_EQ(maskAt(1, 150), 0);
    EXPECT_EQ(maskAt(1, 350), 1);
    // Yet both have the overlap as a segment.
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_FLOAT_EQ(segments[0].endTimeSeconds, 300 * 0.016875F);
    EXPECT_FLOAT_EQ(segments[1].startTimeSeconds, 100 * 0.016875F);
    EXPECT_FLOAT_EQ(segments[2].startTimeSeconds, 300 * 0.016875F);
}

TEST_F(DiarizerManagerTest, WantsStrictlyMoreActivityThanTheLeast) {
    DiarizerConfig config;
    config.minActiveFramesCount = 100;
    configure(config);
    diarizer.hear(Heard::first, 0, 100);
    EXPECT_TRUE(diarize(chunk).segments.empty());
    EXPECT_EQ(diarizer.embedding->callCount(), 1U); // the network is asked all the same
    diarizer.hear(Heard::first, 100, 101);
    EXPECT_EQ(diarize(chunk).segments.size(), 1U);
}

TEST_F(DiarizerManagerTest, DropsSegmentsOfLessThanASecondOfAKnownSpeaker) {
    diarizer.hear(Heard::first, 0, 113);   // 1.9 s
    diarizer.hear(Heard::first, 200, 258); // 0.98 s
    const auto segments = diarize(chunk).segments;
    ASSERT_EQ(segments.size(), 1U);
    EXPECT_FLOAT_EQ(segments[0].endTimeSeconds, 1.906875F);
    EXPECT_EQ(manager.speakerManager().speakerCount(), 1U);
}

TEST_F(DiarizerManagerTest, FoundsNoSpeakerOnTooLittleSpeech) {
    diarizer.hear(Heard::first, 0, 59); // 0.996 s
    diarize(chunk);
    EXPECT_EQ(manager.speakerManager().speakerCount(), 0U);
}

TEST_F(DiarizerManagerTest, PlacesSegmentsAfterTheStartOfTheAudio) {
    diarizer.hear(Heard::first, 0, 200);
    const auto segments = diarize(chunk + 16000, 30).segments;
    ASSERT_EQ(segments.size(), 2U);
    EXPECT_FLOAT_EQ(segments[0].startTimeSeconds, 30);
    EXPECT_FLOAT_EQ(segments[1].startTimeSeconds, 40);
}

TEST_F(DiarizerManagerTest, FillsUpShortAudioWithZeros) {
    diarizer.segmentation->startRecording();
    diarizer.embedding->startRecording();
    diarizer.hear(Heard::second, 0, 100);
    EXPECT_EQ(diarize(chunk + 32000).segments.size(), 2U); // the last chunk has 2 s
    for (const auto& audio : {diarizer.segmentation->recordedCalls().at(1).inputs.at("audio"),
                              diarizer.embedding->recordedCalls().at(1).inputs.at("waveform")}) {
        EXPECT_EQ(audio->data<float>()[31999], 0.25F);
        EXPECT_EQ(audio->data<float>()[32000], 0);
        EXPECT_EQ(audio->data<float>()[chunk - 1], 0);
    }
}

TEST_F(DiarizerManagerTest, TakesTwoSecondsSilentClippedAndBrokenAudio) {
    diarizer.hear(Heard::first, 0, 100);
    const float nan = std::nanf("");
    for (const float level : {0.1F, 0.0F, 1.0F, -1.0F, nan, std::numeric_limits<float>::infinity()}) {
        const auto segments = manager.diarize(std::vector<float>(32000, level)).segments;
        ASSERT_EQ(segments.size(), 1U) << level;
        EXPECT_EQ(segments[0].speakerId, "1");
    }
}

TEST_F(DiarizerManagerTest, HasNoIdForAVoiceThatIsNone) {
    diarizer.hear(Heard::first, 0, 400);
    std::vector<float> voice(256);
    diarizer.voiceOf = [&](std::size_t) { return voice; };
    for (const float bad : {0.0F, std::nanf(""), std::numeric_limits<float>::infinity()}) {
        voice[7] = bad;
        EXPECT_TRUE(diarize(chunk).segments.empty()) << bad;
    }
    EXPECT_EQ(manager.speakerManager().speakerCount(), 0U);
    voice[7] = 1;
    EXPECT_EQ(diarize(chunk).segments.size(), 1U);
}

TEST_F(DiarizerManagerTest, KeepsFortySpeakersApart) {
    diarizer.hear(Heard::first, 0, 300);
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call % 40); };
    const auto segments = diarize(80 * chunk).segments; // everyone twice
    ASSERT_EQ(segments.size(), 80U);
    for (std::size_t index = 0; index < segments.size(); ++index)
        EXPECT_EQ(segments[index].speakerId, std::to_string(index % 40 + 1));
    EXPECT_EQ(manager.speakerManager().speakerCount(), 40U);
}

TEST_F(DiarizerManagerTest, WalksOverlappingChunks) {
    DiarizerConfig config;
    config.chunkOverlap = 2.4F; // two whole seconds
    configure(config);
    diarizer.hear(Heard::first, 0, 592);
    const auto segments = diarize(2 * chunk).segments;
    ASSERT_EQ(segments.size(), 3U); // at 0, 8 and 16 s; nobody reconciles them
    EXPECT_FLOAT_EQ(segments[1].startTimeSeconds, 8);
    EXPECT_FLOAT_EQ(segments[2].startTimeSeconds, 16);
    EXPECT_GT(segments[0].endTimeSeconds, segments[1].startTimeSeconds);
}

TEST_F(DiarizerManagerTest, RoundsTheChunksLength) {
    DiarizerConfig config;
    config.chunkDuration = 10.4F;
    configure(config);
    diarize(2 * chunk);
    EXPECT_EQ(diarizer.segmentation->callCount(), 2U);
}

TEST_F(DiarizerManagerTest, TakesLongerAndShorterChunksThanTheWindow) {
    diarizer.segmentation->startRecording();
    for (const float seconds : {3.0F, 25.0F}) {
        DiarizerConfig config;
        config.chunkDuration = seconds;
        configure(config);
        diarizer.hear(Heard::first, 0, 100);
        EXPECT_FALSE(diarize(3 * chunk).segments.empty());
        EXPECT_EQ(diarizer.segmentation->recordedCalls().back().inputs.at("audio")->count(), 160000);
    }
}

TEST_F(DiarizerManagerTest, RefusesSettingsThatCutNoChunks) {
    DiarizerConfig config;
    config.chunkOverlap = 10;
    configure(config);
    EXPECT_EQ(errorOf([&] { diarize(chunk); }), DiarizerError::Case::processingFailed);
    config.chunkDuration = std::numeric_limits<float>::infinity();
    configure(config);
    EXPECT_EQ(errorOf([&] { diarize(0); }), DiarizerError::Case::processingFailed);
    EXPECT_EQ(errorOf([&] { manager.diarize(std::vector<float>(9), 0); }), DiarizerError::Case::processingFailed);
    EXPECT_EQ(errorOf([&] { manager.diarize(std::vector<float>(9), 16000, std::nan("")); }),
              DiarizerError::Case::processingFailed);
    EXPECT_EQ(diarizer.segmentation->callCount(), 0U);
}

TEST_F(DiarizerManagerTest, TakesSamplesThatLieInPieces) {
    diarizer.segmentation->startRecording();
    std::deque<float> samples;
    for (std::size_t index = 0; index < chunk + 5; ++index)
        samples.push_back(static_cast<float>(index));
    manager.diarize(samples.begin(), samples.end());
    const auto calls = diarizer.segmentation->recordedCalls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].inputs.at("audio")->data<float>()[159999], 159999);
    EXPECT_EQ(calls[1].inputs.at("audio")->data<float>()[4], 160004);
    EXPECT_EQ(calls[1].inputs.at("audio")->data<float>()[5], 0);
}

TEST_F(DiarizerManagerTest, EndsWithTheErrorOfAnyChunk) {
    diarizer.hear(Heard::first, 0, 400);
    diarizer.segmentation->failAt(1, "the network broke");
    EXPECT_THROW(diarize(3 * chunk), MLModelError);
    EXPECT_EQ(diarizer.segmentation->callCount(), 2U);
    EXPECT_EQ(diarize(chunk).segments.size(), 1U); // and goes on
}

TEST_F(DiarizerManagerTest, StopsBetweenChunks) {
    diarizer.hear(Heard::first, 0, 400);
    std::stop_source stop;
    std::vector<double> shares;
    const auto progress = [&](double share) {
        shares.push_back(share);
        if (shares.size() == 2)
            stop.request_stop();
    };
    const std::vector<float> samples(5 * chunk);
    EXPECT_THROW(manager.diarize(samples, 16000, 0, stop.get_token(), progress), Cancelled);
    EXPECT_EQ(shares, (std::vector<double>{0.2, 0.4}));
    EXPECT_EQ(diarizer.segmentation->callCount(), 2U);
}

TEST_F(DiarizerManagerTest, ReportsItsProgressUpToTheEnd) {
    std::vector<double> shares;
    manager.diarize(std::vector<float>(2 * chunk + 80000), 16000, 0, {},
                    [&](double share) { shares.push_back(share); });
    EXPECT_EQ(shares, (std::vector<double>{0.4, 0.8, 1}));
}

TEST_F(DiarizerManagerTest, TellsItsSpeakersAndTimesInDebugMode) {
    DiarizerConfig config;
    config.debugMode = true;
    configure(config);
    diarizer.hear(Heard::first, 0, 400);
    const DiarizationResult result = diarize(chunk);
    ASSERT_TRUE(result.speakerDatabase);
    ASSERT_EQ(result.speakerDatabase->count("1"), 1U);
    EXPECT_EQ(result.speakerDatabase->at("1").at(0), 1); // of unit length
    ASSERT_TRUE(result.timings);
    const PipelineTimings& timings = *result.timings;
    EXPECT_EQ(timings.modelCompilationSeconds, 0.25);
    EXPECT_EQ(timings.audioLoadingSeconds, 0);
    EXPECT_GT(timings.segmentationSeconds, 0);
    EXPECT_GT(timings.embeddingExtractionSeconds, 0);
    EXPECT_GT(timings.speakerClusteringSeconds, 0);
    EXPECT_EQ(timings.totalInferenceSeconds,
              timings.segmentationSeconds + timings.embeddingExtractionSeconds + timings.speakerClusteringSeconds);
    EXPECT_TRUE(diarize(0).timings);
}

TEST_F(DiarizerManagerTest, TakesKnownSpeakersWithoutReplacingThoseItHas) {
    const auto known = [](std::size_t number, const std::string& id, const std::string& name) {
        return std::make_shared<Speaker>(ScriptedDiarizer::voice(number), id, name);
    };
    manager.initializeKnownSpeakers({known(0, "7", "Ada")});
    manager.initializeKnownSpeakers({known(1, "7", "Bea")});
    EXPECT_EQ(manager.speakerManager().sendableSpeaker("7")->name, "Ada");
    diarizer.hear(Heard::first, 0, 400);
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call); };
    EXPECT_EQ(diarize(chunk).segments.at(0).speakerId, "7");
    EXPECT_EQ(diarize(chunk).segments.at(0).speakerId, "8");
}

TEST_F(DiarizerManagerTest, ValidatesForItsCallers) {
    EXPECT_FALSE(manager.validateAudio(std::vector<float>(100)).isValid);
    EXPECT_TRUE(manager.validateAudio(std::vector<float>(16000, 0.5F)).isValid);
    EXPECT_TRUE(manager.validateEmbedding(ScriptedDiarizer::voice(0)));
    EXPECT_FALSE(manager.validateEmbedding(std::vector<float>(256)));
}

TEST_F(DiarizerManagerTest, WalksFourHours) {
    diarizer.hear(Heard::first, 0, 300);
    diarizer.hear(Heard::second, 300, 592);
    diarizer.voiceOf = [](std::size_t call) { return ScriptedDiarizer::voice(call % 2); };
    const FourHours samples;
    const auto segments = manager.diarize(samples.view()).segments;
    ASSERT_EQ(segments.size(), 2880U);
    EXPECT_EQ(segments.back().speakerId, "2");
    EXPECT_FLOAT_EQ(segments.back().endTimeSeconds, 14399.99F);
    EXPECT_EQ(manager.speakerManager().speakerCount(), 2U);
}

} // namespace
} // namespace VarnelSpeech
