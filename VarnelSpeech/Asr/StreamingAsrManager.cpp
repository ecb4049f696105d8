// A stream's life: start, finish, reset, cancel.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace VarnelSpeech {

namespace {

constexpr std::size_t samplesPerMinute = std::size_t{60} * 16000;
constexpr std::size_t largestBacklog = 10 * samplesPerMinute;

StreamingAsrManager::Dependencies completed(StreamingAsrManager::Dependencies dependencies) {
    if (!dependencies.loadModels) {
        dependencies.loadModels = [](const std::stop_token& stop) {
            DownloadUtils::DownloadConfig download;
            download.stop = stop;
            return AsrModels::downloadAndLoad({}, {}, AsrModelVersion::v3, download);
        };
    }
    if (!dependencies.now)
        dependencies.now = &std::chrono::system_clock::now;
    return dependencies;
}

// Characters of UTF-8: every byte that does not continue one.
std::size_t characterCount(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

std::string textOf(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return "unknown error";
    }
}

double secondsOf(std::int64_t samples) {
    return static_cast<double>(samples) / ASRConfig().sampleRate;
}

} // namespace

StreamingAsrManager::StreamingAsrManager(StreamingAsrConfig config, Dependencies dependencies)
    : logger_("StreamingASR"),
      config_(config),
      dependencies_(completed(std::move(dependencies))),
      audioConverter_(AudioFormat::speech()),
      backlog_(largestBacklog, samplesPerMinute),
      windows_(StreamingAsrConfig{}),
      transcript_(config, logger_),
      intakeThread_([this] { takeInAudio(); }) {
    logger_.info(fmt::format("Initialized StreamingAsrManager with config: chunk={:#}s left={:#}s right={:#}s",
                             config_.chunkSeconds, config_.leftContextSeconds, config_.rightContextSeconds));
}

StreamingAsrManager::~StreamingAsrManager() {
    queue_.close();
    cancellation_.request_stop();
}

void StreamingAsrManager::start(AudioSource source) {
    claimStart(source);
    try {
        logger_.info(fmt::format("Starting streaming ASR engine for source: {}...", name(source)));
        begin(loadModels(), source);
    } catch (...) {
        releaseStart();
        throw;
    }
}

void StreamingAsrManager::start(const AsrModels& models, AudioSource source) {
    claimStart(source);
    try {
        begin(models, source);
    } catch (...) {
        releaseStart();
        throw;
    }
}

void StreamingAsrManager::claimStart(AudioSource source) {
    config_.validate();
    const std::lock_guard lock(stateMutex_);
    if (std::exchange(isStarted_, true))
        throw StreamingAsrError::streamAlreadyExists(source);
}

void StreamingAsrManager::releaseStart() {
    const std::lock_guard lock(stateMutex_);
    isStarted_ = false;
    recognizerTask_ = Task::none;
}

void StreamingAsrManager::begin(const AsrModels& models, AudioSource source) {
    logger_.info(fmt::format("Starting streaming ASR engine with pre-loaded models for source: {}...", name(source)));
    const auto asrManager = std::make_shared<AsrManager>();
    asrManager->initialize(models);
    asrManager->resetDecoderState(source);
    {
        const std::scoped_lock lock(windowMutex_, stateMutex_);
        windows_ = StreamingWindows(config_);
        audioSource_ = source;
        asrManager_ = asrManager;
        segmentIndex_ = 0;
        lastProcessedFrame_ = 0;
        accumulatedTokens_.clear();
        startTime_ = dependencies_.now();
        recognizerTask_ = Task::running;
    }
    recognizerThread_ = std::jthread([this] { runRecognizerTask(); });
    logger_.info("Streaming ASR engine started successfully");
}

void StreamingAsrManager::streamAudio(PcmBuffer buffer) noexcept {
    queue_.push(std::move(buffer));
}

void StreamingAsrManager::streamAudio(const PcmView& audio) noexcept {
    queue_.push(audio);
}

void StreamingAsrManager::transcriptionUpdates(UpdateSink sink) {
    auto installed = sink ? std::make_shared<const UpdateSink>(std::move(sink)) : nullptr;
    const std::lock_guard lock(sinkMutex_);
    updateContinuation_.swap(installed);
}

std::string StreamingAsrManager::finish(const std::stop_token& giveUp) {
    logger_.info("Finishing streaming ASR...");
    queue_.close();
    std::unique_lock lock(stateMutex_);
    taskChanged_.wait(lock, giveUp, [this] { return recognizerTask_ != Task::running; });
    if (recognizerTask_ == Task::running) {
        cancellation_.request_stop();
        logger_.info(fmt::format("Finished without {:.1f} s of audio that waited", backlogSeconds()));
    }
    if (taskError_) {
        logger_.error("Recognition task failed: " + textOf(taskError_));
        std::rethrow_exception(taskError_);
    }
    // From the tokens of the whole stream, so that the text does not depend on what was confirmed when.
    std::string text = asrManager_ && !accumulatedTokens_.empty()
                           ? asrManager_->processTranscriptionResult(accumulatedTokens_, {}, {}, {}, 0, 0).text
                           : transcript_.confirmed() + transcript_.volatileText();
    logger_.info(fmt::format("Final transcription: {} characters", characterCount(text)));
    return text;
}

void StreamingAsrManager::reset() {
    const std::lock_guard windowLock(windowMutex_);
    {
        const std::lock_guard lock(stateMutex_);
        transcript_.reset();
        processedChunks_ = 0;
        startTime_ = dependencies_.now();
        segmentIndex_ = 0;
        lastProcessedFrame_ = 0;
        accumulatedTokens_.clear();
    }
    windows_.reset();
    if (const auto asrManager = manager()) {
        try {
            asrManager->resetDecoderState(audioSource_);
        } catch (const std::exception& error) {
            // The next window fails as well, and recovers.
            logger_.error(std::string("Failed to reset decoder state: ") + error.what());
        }
    }
    logger_.info(fmt::format("StreamingAsrManager reset for source: {}", name(audioSource_)));
}

void StreamingAsrManager::cancel() {
    queue_.close();
    cancellation_.request_stop();
    transcriptionUpdates({});
    logger_.info("StreamingAsrManager cancelled");
}

std::string StreamingAsrManager::confirmedTranscript() const {
    const std::lock_guard lock(stateMutex_);
    return transcript_.confirmed();
}

std::string StreamingAsrManager::volatileTranscript() const {
    const std::lock_guard lock(stateMutex_);
    return transcript_.volatileText();
}

AudioSource StreamingAsrManager::audioSource() const {
    const std::lock_guard lock(stateMutex_);
    return audioSource_;
}

int StreamingAsrManager::processedChunks() const {
    const std::lock_guard lock(stateMutex_);
    return processedChunks_;
}

std::optional<std::chrono::system_clock::time_point> StreamingAsrManager::startTime() const {
    const std::lock_guard lock(stateMutex_);
    return startTime_;
}

double StreamingAsrManager::backlogSeconds() const {
    return secondsOf(static_cast<std::int64_t>(backlog_.waitingSamples()));
}

double StreamingAsrManager::skippedSeconds() const {
    const std::lock_guard lock(stateMutex_);
    return secondsOf(skippedSamples_);
}

} // namespace VarnelSpeech
