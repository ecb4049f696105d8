#include "VarnelSpeech/Asr/AsrManager.h"

#include "VarnelSpeech/Asr/ChunkProcessor.h"
#include "VarnelSpeech/Asr/ReusableDecoderInput.h"
#include "VarnelSpeech/Shared/AudioFileError.h"
#include "VarnelSpeech/Shared/Cancelled.h"
#include "VarnelSpeech/Shared/MLArrayCache.h"

#include <algorithm>
#include <chrono>

namespace VarnelSpeech {

namespace {

constexpr auto frameSamples = static_cast<std::size_t>(ASRConstants::samplesPerEncoderFrame);
constexpr auto modelSamples = static_cast<std::size_t>(ASRConstants::maxModelSamples);

// The token that a state is initialized with.
constexpr int initialToken = 0;

void prewarmArrays() {
    MLArrayCache::shared().prewarm({{{1, ASRConstants::maxModelSamples}, MLMultiArrayDataType::float32},
                                    {{1}, MLMultiArrayDataType::int32},
                                    {{2, 1, 640}, MLMultiArrayDataType::float32}});
}

// A background task at construction: what it prepares is made on demand as well, so that nothing is lost with it.
template <typename Work>
std::jthread inBackground(Work work) {
    return std::jthread([work] {
        try {
            work();
        } catch (const std::exception& error) {
            AppLogger("ASR").warning(std::string("Background preparation failed: ") + error.what());
        }
    });
}

struct PaddedAudio {
    std::vector<float> samples;
    int originalLength = 0;
};

// Up to the model's window with zeros. On the frame grid, the last started frame counts as heard.
enum class Alignment { frameGrid, none };

PaddedAudio padded(std::span<const float> samples, Alignment alignment) {
    std::size_t length = samples.size();
    if (alignment == Alignment::frameGrid) {
        const std::size_t aligned = (length + frameSamples - 1) / frameSamples * frameSamples;
        length = aligned <= modelSamples ? aligned : length;
    }
    PaddedAudio audio{{samples.begin(), samples.end()}, static_cast<int>(length)};
    audio.samples.resize(std::max(samples.size(), modelSamples), 0.0F);
    return audio;
}

} // namespace

AsrManager::AsrManager(ASRConfig config)
    : logger_("ASR"),
      config_(std::move(config)),
      audioConverter_(AudioFormat::speech()),
      prewarming_(inBackground(&prewarmArrays)),
      emitterStart_(inBackground([this] { progressEmitter_.ensureSession(); })) {}

AsrManager::~AsrManager() = default;

bool AsrManager::isAvailable() const {
    const bool canDecode = encoderModel_ && decoderModel_ && jointModel_;
    return canDecode && (!asrModels_ || preprocessorModel_);
}

void AsrManager::initialize(const AsrModels& models) {
    logger_.info("Initializing AsrManager with provided models");
    asrModels_ = models;
    preprocessorModel_ = models.preprocessor;
    encoderModel_ = models.encoder;
    decoderModel_ = models.decoder;
    jointModel_ = models.joint;
    vocabulary_ = models.vocabulary;
    logger_.info("Token duration optimization model loaded successfully");
    logger_.info("AsrManager initialized successfully with provided models");
}

void AsrManager::throwIfCancelled() const {
    if (stopToken_.stop_requested()) {
        throw Cancelled();
    }
}

ASRResult AsrManager::transcribe(std::span<const float> samples, AudioSource source) {
    // The emitter's own start has to be through: else it might open a session after this one's end.
    if (emitterStart_.joinable()) {
        emitterStart_.join();
    }
    const bool hasSession = samples.size() > modelSamples;
    if (hasSession) {
        progressEmitter_.ensureSession();
    }
    try {
        ASRResult result = transcribeWithState(samples, state(source));
        // Batch work carries nothing from one audio to the next, whichever source it used.
        resetDecoderState();
        if (hasSession) {
            progressEmitter_.finishSession();
        }
        return result;
    } catch (...) {
        if (hasSession) {
            progressEmitter_.failSession(std::current_exception());
        }
        throw;
    }
}

ASRResult AsrManager::transcribe(const std::filesystem::path& file, AudioSource source) {
    std::vector<float> samples;
    try {
        samples = audioConverter_.resampleAudioFile(file, {}, stopToken_);
    } catch (const AudioFileError&) {
        throwIfCancelled();
        throw;
    }
    return transcribe(samples, source);
}

ASRResult AsrManager::transcribe(const PcmBuffer& buffer, AudioSource source) {
    if (audioConverter_.isTargetFormat(buffer.format())) {
        return transcribe(buffer.floatPlane(0), source);
    }
    return transcribe(audioConverter_.resampleBuffer(buffer), source);
}

ASRResult AsrManager::transcribeWithState(std::span<const float> samples, TdtDecoderState& state) {
    if (!isAvailable()) {
        throw ASRError(ASRError::Case::notInitialized);
    }
    if (samples.size() < static_cast<std::size_t>(ASRConstants::minimumRequiredSamples)) {
        throw ASRError(ASRError::Case::invalidAudioData);
    }
    throwIfCancelled();
    const auto startTime = std::chrono::steady_clock::now();
    if (samples.size() > modelSamples) {
        return ChunkProcessor(samples).process(*this, startTime,
                                               [this](double progress) { progressEmitter_.report(progress); });
    }
    const PaddedAudio audio = padded(samples, Alignment::frameGrid);
    const TdtHypothesis hypothesis =
        executeMLInferenceWithTimings(audio.samples, audio.originalLength, std::nullopt, state).first;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - startTime;
    return processTranscriptionResult(hypothesis.tokenIds, hypothesis.timestamps, hypothesis.tokenConfidences,
                                      hypothesis.tokenDurations, samples.size(), elapsed.count());
}

AsrManager::StreamingChunk AsrManager::transcribeStreamingChunk(std::span<const float> samples, AudioSource source,
                                                                const std::vector<int>& previousTokens,
                                                                bool isLastChunk) {
    constexpr int maxOverlap = 12; // tokens
    if (samples.size() > static_cast<std::size_t>(INT32_MAX)) {
        throw ASRError(ASRError::Case::invalidAudioData);
    }
    TdtDecoderState working = state(source);
    const PaddedAudio audio = padded(samples, previousTokens.empty() ? Alignment::frameGrid : Alignment::none);
    auto [hypothesis, encoderSequenceLength] =
        executeMLInferenceWithTimings(audio.samples, audio.originalLength, std::nullopt, working, 0, isLastChunk, 0);
    state(source) = working;

    StreamingChunk chunk{std::move(hypothesis.tokenIds), std::move(hypothesis.timestamps),
                         std::move(hypothesis.tokenConfidences), encoderSequenceLength};
    if (!previousTokens.empty() && !chunk.tokens.empty()) {
        Deduplicated rest = removeDuplicateTokenSequence(previousTokens, chunk.tokens, maxOverlap);
        chunk.tokens = std::move(rest.tokens);
        chunk.timestamps.erase(chunk.timestamps.begin(), chunk.timestamps.begin() + rest.removed);
        chunk.confidences.erase(chunk.confidences.begin(), chunk.confidences.begin() + rest.removed);
    }
    return chunk;
}

AsrManager::Deduplicated AsrManager::removeDuplicateTokenSequence(const std::vector<int>& previous,
                                                                  const std::vector<int>& current,
                                                                  int maxOverlap) const {
    return VarnelSpeech::removeDuplicateTokenSequence(previous, current, maxOverlap,
                                                      config_.tdtConfig.boundarySearchFrames, logger_);
}

void AsrManager::initializeDecoderState(TdtDecoderState& state) {
    state.reset();
    if (!decoderModel_) {
        throw ASRError(ASRError::Case::notInitialized);
    }
    ReusableDecoderInput input;
    input.set(initialToken, state);
    const auto output = decoderModel_->prediction(input, predictionOptions_);
    if (auto hidden = output->featureValue("h_out")) {
        state.hiddenState = std::move(hidden);
    }
    if (auto cell = output->featureValue("c_out")) {
        state.cellState = std::move(cell);
    }
}

void AsrManager::resetDecoderState() {
    resetDecoderState(AudioSource::microphone);
    resetDecoderState(AudioSource::system);
}

void AsrManager::resetDecoderState(AudioSource source) {
    initializeDecoderState(state(source));
}

void AsrManager::resetState() {
    microphoneDecoderState_ = TdtDecoderState();
    systemDecoderState_ = TdtDecoderState();
}

void AsrManager::cleanup() {
    asrModels_.reset();
    preprocessorModel_ = nullptr;
    encoderModel_ = nullptr;
    decoderModel_ = nullptr;
    jointModel_ = nullptr;
    resetState();
    logger_.info("AsrManager resources cleaned up");
}

TdtDecoderState& AsrManager::state(AudioSource source) {
    return source == AudioSource::microphone ? microphoneDecoderState_ : systemDecoderState_;
}

} // namespace VarnelSpeech
