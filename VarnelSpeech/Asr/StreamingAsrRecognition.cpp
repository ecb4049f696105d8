// The recogniser thread: windows, their results, and recovery from their failures.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include "VarnelSpeech/Asr/StreamingAsrRecovery.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace VarnelSpeech {

void StreamingAsrManager::runRecognizerTask() {
    std::exception_ptr failure;
    try {
        recognize();
    } catch (...) {
        failure = std::current_exception();
    }
    {
        const std::lock_guard lock(stateMutex_);
        recognizerTask_ = Task::ended;
        taskError_ = failure;
    }
    taskChanged_.notify_all();
}

void StreamingAsrManager::recognize() {
    const std::stop_token stop = cancellation_.get_token();
    logger_.info("Recognition task started, waiting for audio...");
    SpeechBacklog::Piece piece;
    while (backlog_.take(piece, stop)) {
        append(piece);
        while (processNextWindow(Ending::open))
            ;
    }
    while (processNextWindow(Ending::ended))
        ;
    if (!stop.stop_requested())
        logger_.info("Recognition task completed");
}

void StreamingAsrManager::append(const SpeechBacklog::Piece& piece) {
    const std::lock_guard windowLock(windowMutex_);
    if (piece.skippedBefore > 0) {
        const std::int64_t lost = windows_.skip(piece.skippedBefore);
        const std::lock_guard stateLock(stateMutex_);
        skippedSamples_ += lost;
        logger_.warning(fmt::format("Live recognition is too slow here: skipped {:.1f} s of audio, {:.1f} s in all",
                                    static_cast<double>(lost) / 16000.0,
                                    static_cast<double>(skippedSamples_) / 16000.0));
    }
    windows_.append(piece.samples);
}

// False when there is no window (yet), or no more.
bool StreamingAsrManager::processNextWindow(Ending ending) {
    std::unique_lock windowLock(windowMutex_);
    if (cancellation_.stop_requested())
        return false;
    const auto window = ending == Ending::open ? windows_.next() : windows_.nextAtEnd();
    if (!window)
        return false;
    std::optional<StreamingTranscriptionUpdate> update;
    try {
        update = processWindow(*window);
        windows_.advance(*window);
    } catch (const std::exception& error) {
        windows_.advance(*window);
        // Recovery may take long, and takes the lock for itself where it needs it.
        windowLock.unlock();
        logger_.error(std::string("Model processing error: ") + error.what());
        attemptErrorRecovery(StreamingAsrError::modelProcessingFailed(error));
        return true;
    }
    windowLock.unlock();
    if (update)
        emit(*update);
    return true;
}

// None when the stream was cancelled meanwhile.
std::optional<StreamingTranscriptionUpdate> StreamingAsrManager::processWindow(const StreamingWindows::Window& window) {
    const auto started = dependencies_.now();
    const auto asrManager = manager();
    AsrManager::StreamingChunk chunk =
        asrManager->transcribeStreamingChunk(window.samples, audioSource_, accumulatedTokens_, window.isLast);
    if (cancellation_.stop_requested())
        return std::nullopt;
    const auto shift = static_cast<int>(window.start / ASRConstants::samplesPerEncoderFrame);
    for (int& timestamp : chunk.timestamps)
        timestamp += shift;
    const std::chrono::duration<double> elapsed = dependencies_.now() - started;
    const ASRResult result = asrManager->processTranscriptionResult(chunk.tokens, chunk.timestamps, chunk.confidences,
                                                                    {}, window.samples.size(), elapsed.count());
    return take(std::move(chunk), result);
}

StreamingTranscriptionUpdate StreamingAsrManager::take(AsrManager::StreamingChunk chunk, const ASRResult& result) {
    // The audio received so far, not the window's end.
    const double totalSeconds = static_cast<double>(windows_.bufferEnd()) / 16000.0;
    const std::lock_guard lock(stateMutex_);
    accumulatedTokens_.insert(accumulatedTokens_.end(), chunk.tokens.begin(), chunk.tokens.end());
    for (const int timestamp : chunk.timestamps)
        lastProcessedFrame_ = std::max<std::int64_t>(lastProcessedFrame_, timestamp);
    segmentIndex_ += 1;
    processedChunks_ += 1;
    logger_.debug(fmt::format("Chunk {}: '{}', time: {:.3f}s)", processedChunks_, result.text, result.processingTime));
    transcript_.update(result.text, result.confidence, totalSeconds);
    StreamingTranscriptionUpdate update;
    update.text = result.text;
    update.isConfirmed = transcript_.isGood(result.confidence, totalSeconds);
    update.confidence = result.confidence;
    update.timestamp = dependencies_.now();
    update.tokenIds = std::move(chunk.tokens);
    update.tokenTimings = result.tokenTimings.value_or(std::vector<TokenTiming>{});
    return update;
}

void StreamingAsrManager::emit(const StreamingTranscriptionUpdate& update) {
    const std::lock_guard lock(sinkMutex_);
    // Its own hold: the sink may take itself off.
    const auto sink = updateContinuation_;
    if (!sink)
        return;
    try {
        (*sink)(update);
    } catch (const std::exception& error) {
        logger_.error(std::string("The reader of updates failed: ") + error.what());
    }
}

std::shared_ptr<AsrManager> StreamingAsrManager::manager() const {
    const std::lock_guard lock(stateMutex_);
    return asrManager_;
}

AsrModels StreamingAsrManager::loadModels() const {
    return dependencies_.loadModels(cancellation_.get_token());
}

void StreamingAsrManager::attemptErrorRecovery(const std::exception& error) {
    StreamingAsrRecovery{logger_, [this] { resetDecoderState(); }, [this] { reinitialize(); }}.attemptErrorRecovery(
        error);
}

void StreamingAsrManager::resetDecoderState() {
    const std::lock_guard lock(windowMutex_);
    if (const auto asrManager = manager())
        asrManager->resetDecoderState(audioSource());
}

void StreamingAsrManager::reinitialize() {
    const AsrModels models = loadModels();
    const auto rebuilt = std::make_shared<AsrManager>();
    rebuilt->initialize(models);
    const std::scoped_lock lock(windowMutex_, stateMutex_);
    asrManager_ = rebuilt;
}

} // namespace VarnelSpeech
