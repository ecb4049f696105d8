#pragma once

#include "VarnelSpeech/Asr/AsrManager.h"
#include "VarnelSpeech/Asr/SpeechBacklog.h"
#include "VarnelSpeech/Asr/StreamingAsrConfig.h"
#include "VarnelSpeech/Asr/StreamingAsrError.h"
#include "VarnelSpeech/Asr/StreamingAudioQueue.h"
#include "VarnelSpeech/Asr/StreamingTranscript.h"
#include "VarnelSpeech/Asr/StreamingTranscriptionUpdate.h"
#include "VarnelSpeech/Asr/StreamingWindows.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace VarnelSpeech {

// A live transcript of an endless stream of audio: windows with context on both sides go through an AsrManager, each
// gives an update, and a window's text is confirmed by a good window after it.
//
// A serialised object; every operation may be called from any thread. Two threads of its own work for it:
//
//   streamAudio -> queue -> intake thread (to 16 kHz mono) -> backlog -> recogniser thread (windows, models) -> sink
//
// The queue holds captured audio for the moments of a conversion. The backlog is what the models are behind: at most
// 10 minutes of 16 kHz mono. On a machine that is too slow the oldest of it is skipped, with a log line; positions and
// times advance over what was skipped. A failed buffer or window is logged and recovered from; the stream goes on.
//
// One stream an object: created, started, then finished or cancelled. Destruction cancels, and waits for the window
// in work; where that must not be waited for, let go of the object on another thread.
class StreamingAsrManager {
public:
    // Called on the recogniser thread, one update at a time, in order. What it throws is logged. It may call any
    // operation but `finish`.
    using UpdateSink = std::function<void(const StreamingTranscriptionUpdate&)>;

    struct Dependencies {
        // For `start` without models, and to rebuild after a failed recovery. A program whose models lie elsewhere
        // than in the default cache gives its own, so that nothing is fetched unasked. Stops with `cancel`. None:
        // AsrModels::downloadAndLoad of version v3.
        std::function<AsrModels(const std::stop_token&)> loadModels;
        std::function<std::chrono::system_clock::time_point()> now; // none: the system's clock
    };

    explicit StreamingAsrManager(StreamingAsrConfig config = {}, Dependencies dependencies = {});
    ~StreamingAsrManager();

    StreamingAsrManager(const StreamingAsrManager&) = delete;
    StreamingAsrManager& operator=(const StreamingAsrManager&) = delete;

    // Loads the models on the calling thread, then goes on as with models at hand. Throws StreamingAsrError
    // (streamAlreadyExists after a start that succeeded, invalidConfiguration) and what loading and the models throw.
    void start(AudioSource source = AudioSource::microphone);
    void start(const AsrModels& models, AudioSource source = AudioSource::microphone);

    // Takes a buffer in any format. Never fails and never waits for recognition; made for audio threads. A buffer can
    // be moved in; a view is copied into recycled memory, without allocation for buffers of one size. Audio before the
    // start waits for it, audio after the end is ignored.
    void streamAudio(PcmBuffer buffer) noexcept;
    void streamAudio(const PcmView& audio) noexcept;

    // Installs the one current sink; none takes it off. When it returns, the sink before is not being called and will
    // not be, unless it is the sink itself that calls this.
    void transcriptionUpdates(UpdateSink sink);

    // Ends the stream, waits until all of it has been recognised, and returns the whole text. Throws what ended the
    // recognition. When a stop is requested through `giveUp`, before or while it waits, it returns at once with the
    // text so far: the window in work and the backlog are let go.
    std::string finish(const std::stop_token& giveUp = {});

    // Back to position 0 with empty transcripts, for the audio that follows; what waits stays. Waits for the window in
    // work.
    void reset();

    // Ends the stream without its rest: no window begins any more and no update comes. Does not wait for the window in
    // work.
    void cancel();

    std::string confirmedTranscript() const;
    std::string volatileTranscript() const;
    AudioSource audioSource() const;
    int processedChunks() const;
    std::optional<std::chrono::system_clock::time_point> startTime() const;

    const StreamingAsrConfig& config() const { return config_; }

    // How far recognition is behind, and what it had to skip so far, in seconds of audio.
    double backlogSeconds() const;
    double skippedSeconds() const;

private:
    enum class Ending { open, ended };
    enum class Task { none, running, ended };

    void claimStart(AudioSource source);
    void releaseStart();
    void begin(const AsrModels& models, AudioSource source);
    AsrModels loadModels() const;
    std::shared_ptr<AsrManager> manager() const;

    void takeInAudio();
    void takeIn(const PcmBuffer& buffer);
    void reportLostBuffer(const std::exception& error);

    void runRecognizerTask();
    void recognize();
    void append(const SpeechBacklog::Piece& piece);
    bool processNextWindow(Ending ending);
    std::optional<StreamingTranscriptionUpdate> processWindow(const StreamingWindows::Window& window);
    StreamingTranscriptionUpdate take(AsrManager::StreamingChunk chunk, const ASRResult& result);
    void emit(const StreamingTranscriptionUpdate& update);

    void attemptErrorRecovery(const std::exception& error);
    void resetDecoderState();
    void reinitialize();

    const AppLogger logger_;
    const StreamingAsrConfig config_;
    const Dependencies dependencies_;
    const AudioConverter audioConverter_;
    StreamingAudioQueue queue_;
    SpeechBacklog backlog_;
    std::stop_source cancellation_;

    // Held for a whole window: nothing else touches the models or the positions meanwhile. Before stateMutex_.
    std::mutex windowMutex_;
    StreamingWindows windows_;

    // Held for moments. What a window reads is written under both.
    mutable std::mutex stateMutex_;
    std::condition_variable_any taskChanged_;
    Task recognizerTask_ = Task::none;
    std::exception_ptr taskError_;
    bool isStarted_ = false;
    std::shared_ptr<AsrManager> asrManager_;
    AudioSource audioSource_ = AudioSource::microphone;
    std::optional<std::chrono::system_clock::time_point> startTime_;
    std::vector<int> accumulatedTokens_;
    StreamingTranscript transcript_;
    int segmentIndex_ = 0;
    int processedChunks_ = 0;
    std::int64_t lastProcessedFrame_ = 0; // encoder frames
    std::int64_t skippedSamples_ = 0;

    std::recursive_mutex sinkMutex_; // held while the sink is called
    std::shared_ptr<const UpdateSink> updateContinuation_;

    // The last members, so that they end before anything they use.
    std::jthread recognizerThread_;
    std::jthread intakeThread_;
};

} // namespace VarnelSpeech
