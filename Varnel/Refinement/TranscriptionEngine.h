#pragma once

#include "Varnel/Refinement/EngineError.h"
#include "Varnel/Refinement/SpeakerDiarization.h"
#include "Varnel/Refinement/TranscriptOutput.h"
#include "VarnelSpeech/Asr/AsrModels.h"
#include "VarnelSpeech/Shared/Cancelled.h"

#include <QCoroTask>
#include <QObject>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <variant>

namespace Varnel {

// The application's facade over the batch recogniser and the diarizer: one audio file in, speaker-attributed
// segments out. Loads each model set once per process; a failed load stays failed until the next start.
//
// Confined to the main context; the work itself runs on threads, and results come through the event loop. Calls of
// `transcribe` queue up, first come first served: they share nothing but the models.
//
// The end of its life stops what runs, waits for the threads (a load of models, or one window of the recogniser), and
// lets every call that is still out fail with VarnelSpeech::Cancelled. Slots of its signals and progress callbacks
// must not delete it; deleteLater does.
class TranscriptionEngine : public QObject {
    Q_OBJECT

public:
    struct Idle {
        bool operator==(const Idle&) const = default;
    };

    struct Loading {
        bool operator==(const Loading&) const = default;
    };

    struct Ready {
        bool operator==(const Ready&) const = default;
    };

    struct Transcribing {
        bool operator==(const Transcribing&) const = default;
    };

    struct Failed {
        QString description; // why the recogniser's models could not be loaded
        bool operator==(const Failed&) const = default;
    };

    using Status = std::variant<Idle, Loading, Ready, Transcribing, Failed>;

    // Loads the recogniser's models; called once, off the main context. The application gives the one that knows
    // which model set is in use. What it throws becomes the failed status.
    using AsrLoader = std::function<VarnelSpeech::AsrModels()>;

    // `diarizer` may be null: every transcript is then of one speaker, and `warm` logs "Diarizer load failed: no
    // diarizer in this build".
    explicit TranscriptionEngine(AsrLoader loader, std::shared_ptr<SpeakerDiarization> diarizer = {},
                                 QObject* parent = nullptr);
    ~TranscriptionEngine() override;

    const Status& status() const { return status_; }

    bool diarizationLoaded() const { return diarizationLoaded_; }

    // The loaded recogniser models; none before and after a failed load.
    const std::optional<VarnelSpeech::AsrModels>& asrModels() const { return asrModels_; }

    // Loads what is not loaded yet; while a load runs, waits for it. Never fails: see status and diarizationLoaded.
    // Logs "ASR load failed: " and "Diarizer load failed: " with the reason.
    QCoro::Task<> warm();
    // The same, at most once per process.
    QCoro::Task<> ensureWarm();

    // Progress of one transcription: rising values from 0 to 1 on the main context, from the beginning of its turn,
    // 1 only on success. Must not throw.
    using Progress = std::function<void(double)>;

    // One file of any format that the converter reads. Loads the models first if need be. Throws EngineError "ASR
    // models not loaded", VarnelSpeech::Cancelled soon after a requested stop (also while it queues; not during a load
    // of models), or the converter's or the recogniser's own error. A failed diarization is logged and gives a
    // one-speaker transcript.
    QCoro::Task<Output> transcribe(std::filesystem::path file, Progress progress = {}, std::stop_token stop = {});

Q_SIGNALS:
    void statusChanged();
    void diarizationLoadedChanged();

private:
    struct Private;

    QCoro::Task<> load();
    QCoro::Task<bool> loadRecogniser();
    QCoro::Task<> loadDiarizer();
    QCoro::Task<Output> transcribeInTurn(std::filesystem::path file, Progress progress, std::stop_token stop);
    void setStatus(Status status);
    void setDiarizationLoaded(bool loaded);

    std::unique_ptr<Private> d;
    Status status_ = Idle{};
    bool diarizationLoaded_ = false;
    std::optional<VarnelSpeech::AsrModels> asrModels_;
};

} // namespace Varnel
