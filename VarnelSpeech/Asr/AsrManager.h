#pragma once

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "VarnelSpeech/Asr/ASRError.h"
#include "VarnelSpeech/Asr/ASRResult.h"
#include "VarnelSpeech/Asr/AsrModels.h"
#include "VarnelSpeech/Asr/DuplicateRemoval.h"
#include "VarnelSpeech/Asr/TdtDecoderState.h"
#include "VarnelSpeech/Asr/TdtHypothesis.h"
#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/AudioConverter.h"
#include "VarnelSpeech/Shared/ProgressEmitter.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

namespace VarnelSpeech {

// Batch speech recognition, and the frame around the models that streaming recognition uses per window.
//
// Not locked: one thread at a time. Calls run on the calling thread until they are done. Failures are ASRError,
// MLModelError, Cancelled and the converter's errors. After a failed transcription the decoder states are as the
// failure left them.
class AsrManager {
public:
    explicit AsrManager(ASRConfig config = {});
    ~AsrManager();

    AsrManager(const AsrManager&) = delete;
    AsrManager& operator=(const AsrManager&) = delete;

    bool isAvailable() const;
    void initialize(const AsrModels& models);

    // Transcriptions stop between windows, with Cancelled, once a stop is requested through the token's source.
    void setStopToken(std::stop_token stopToken) { stopToken_ = std::move(stopToken); }

    // Throws Cancelled if a stop was requested.
    void throwIfCancelled() const;

    // 16 kHz mono samples; at least a second.
    ASRResult transcribe(std::span<const float> samples, AudioSource source = AudioSource::microphone);
    ASRResult transcribe(const std::filesystem::path& file, AudioSource source = AudioSource::microphone);
    ASRResult transcribe(const PcmBuffer& buffer, AudioSource source = AudioSource::microphone);

    struct StreamingChunk {
        std::vector<int> tokens;
        std::vector<int> timestamps; // encoder frames
        std::vector<float> confidences;
        int encoderSequenceLength = 0;
    };

    // One window of a stream, with the state of `source` carried on.
    StreamingChunk transcribeStreamingChunk(std::span<const float> samples, AudioSource source,
                                            const std::vector<int>& previousTokens, bool isLastChunk = false);

    // Preprocessor, encoder and decoder on one padded window. Returns the hypothesis and the encoder's length.
    std::pair<TdtHypothesis, int>
    executeMLInferenceWithTimings(std::span<const float> paddedAudio, std::optional<int> originalLength,
                                  std::optional<int> actualAudioFrames, TdtDecoderState& decoderState,
                                  int contextFrameAdjustment = 0, bool isLastChunk = false, int globalFrameOffset = 0);

    // Token ids to text and timings.
    ASRResult processTranscriptionResult(const std::vector<int>& tokenIds, const std::vector<int>& timestamps,
                                         const std::vector<float>& confidences, const std::vector<int>& tokenDurations,
                                         std::size_t audioSamples, double processingTime,
                                         const std::vector<TokenTiming>& existingTimings = {}) const;

    using Deduplicated = DeduplicatedTokens;

    // Takes from the beginning of `current` what repeats the end of `previous`.
    Deduplicated removeDuplicateTokenSequence(const std::vector<int>& previous, const std::vector<int>& current,
                                              int maxOverlap) const;

    // Resets the state and lets the prediction network answer to token 0.
    void initializeDecoderState(TdtDecoderState& state);
    void resetDecoderState();
    void resetDecoderState(AudioSource source);

    // New states, without any model.
    void resetState();

    // Lets go of the models; the manager can be initialized again.
    void cleanup();

    // Progress of the running transcription, for audio of more than one window; it ends with the transcription.
    std::shared_ptr<ProgressStream> progressStream() { return progressEmitter_.progressStream(); }

    ProgressEmitter& progressEmitter() { return progressEmitter_; }

    const ASRConfig& config() const { return config_; }

    const Vocabulary& vocabulary() const { return vocabulary_; }

private:
    ASRResult transcribeWithState(std::span<const float> samples, TdtDecoderState& state);
    TdtHypothesis tdtDecodeWithTimings(const std::shared_ptr<MLMultiArray>& encoderOutput, int encoderSequenceLength,
                                       int actualAudioFrames, TdtDecoderState& decoderState, int contextFrameAdjustment,
                                       bool isLastChunk, int globalFrameOffset) const;
    ASRConfig decoderConfig() const;
    float confidence(const std::string& text, std::size_t tokenCount, const std::vector<float>& confidences) const;
    TdtDecoderState& state(AudioSource source);

    AppLogger logger_;
    ASRConfig config_;
    AudioConverter audioConverter_;
    std::shared_ptr<MLModel> preprocessorModel_;
    std::shared_ptr<MLModel> encoderModel_;
    std::shared_ptr<MLModel> decoderModel_;
    std::shared_ptr<MLModel> jointModel_;
    std::optional<AsrModels> asrModels_;
    ProgressEmitter progressEmitter_;
    Vocabulary vocabulary_;
    TdtDecoderState microphoneDecoderState_;
    TdtDecoderState systemDecoderState_;
    MLPredictionOptions predictionOptions_; // no backings
    std::stop_token stopToken_;

    // Started at construction; the last members, so that they end before anything they use.
    std::jthread prewarming_;
    std::jthread emitterStart_;
};

} // namespace VarnelSpeech
