#include "Varnel/Refinement/TranscriptionEngine.h"

#include "Varnel/Platform/ApplicationLog.h"
#include "Varnel/Refinement/BackgroundJob.h"
#include "Varnel/Refinement/FileRecognition.h"
#include "Varnel/Refinement/FileSamples.h"
#include "Varnel/Refinement/ParallelProgress.h"
#include "Varnel/Refinement/ProgressRelay.h"
#include "Varnel/Refinement/TranscriptGrouping.h"
#include "Varnel/Refinement/TurnQueue.h"
#include "VarnelSpeech/Asr/AsrManager.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Varnel {

namespace {

// Reading and converting a file takes a small part of the time of the work on it.
constexpr double readingShare = 0.05;
constexpr int sampleRate = 16000;

// The jobs of a transcription.
constexpr std::size_t recognitionJob = 0;
constexpr std::size_t diarizationJob = 1;

// Has a job report its share of the whole to the relay; nothing when nobody listens.
std::function<void(double)> reporting(ProgressRelay& relay, double from, double to) {
    if (!relay.isWanted())
        return {};
    return [&relay, from, to](double share) { relay.report(from + (to - from) * share); };
}

QString description(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    } catch (...) {
        return QStringLiteral("unknown error");
    }
}

} // namespace

struct TranscriptionEngine::Private {
    AsrLoader loader;
    std::shared_ptr<SpeakerDiarization> diarizer;
    VarnelSpeech::AsrManager asr; // used by one job at a time
    WaitingRoom room;
    TurnQueue turns;
    bool isWarmTaskSet = false; // never cleared: one attempt a process
    bool isLoading = false;
    std::vector<MainContextWait*> waitingForLoad;
};

TranscriptionEngine::TranscriptionEngine(AsrLoader loader, std::shared_ptr<SpeakerDiarization> diarizer,
                                         QObject* parent)
    : QObject(parent), d(std::make_unique<Private>()) {
    d->loader = std::move(loader);
    d->diarizer = std::move(diarizer);
}

// Coroutines that wait go on with an error and unwind; their jobs stop and join on the way.
TranscriptionEngine::~TranscriptionEngine() {
    d->room.close();
}

QCoro::Task<> TranscriptionEngine::ensureWarm() {
    if (asrModels_)
        co_return;
    if (d->isWarmTaskSet && !d->isLoading)
        co_return;
    d->isWarmTaskSet = true;
    co_await warm();
}

QCoro::Task<> TranscriptionEngine::warm() {
    try {
        if (d->isLoading) {
            MainContextWait loaded(d->room);
            d->waitingForLoad.push_back(&loaded);
            co_await completion(loaded);
            co_return;
        }
        if (asrModels_)
            co_return;
        d->isLoading = true;
        co_await load();
    } catch (const VarnelSpeech::Cancelled&) {
        co_return; // the engine is going
    }
    d->isLoading = false;
    for (MainContextWait* wait : std::exchange(d->waitingForLoad, {}))
        wait->endLater();
}

QCoro::Task<> TranscriptionEngine::load() {
    setStatus(Loading{});
    const bool loaded = co_await loadRecogniser();
    if (!loaded)
        co_return;
    if (!diarizationLoaded_)
        co_await loadDiarizer();
    setStatus(Ready{});
}

QCoro::Task<bool> TranscriptionEngine::loadRecogniser() {
    std::exception_ptr failure;
    try {
        BackgroundJob<VarnelSpeech::AsrModels> loading(
            d->room, {}, [loader = d->loader](const std::stop_token&) { return loader(); });
        VarnelSpeech::AsrModels models = co_await completion(loading);
        d->asr.initialize(models);
        asrModels_ = std::move(models);
    } catch (...) {
        failure = std::current_exception();
    }
    if (d->room.isClosed())
        throw VarnelSpeech::Cancelled();
    if (failure) {
        const QString reason = description(failure);
        log(QStringLiteral("ASR load failed: ") + reason);
        setStatus(Failed{reason});
    }
    co_return !failure;
}

QCoro::Task<> TranscriptionEngine::loadDiarizer() {
    std::exception_ptr failure;
    try {
        BackgroundJob<bool> loading(d->room, {}, [diarizer = d->diarizer](const std::stop_token&) {
            if (!diarizer)
                throw std::runtime_error("no diarizer in this build");
            diarizer->loadModels();
            return true;
        });
        co_await completion(loading);
    } catch (...) {
        failure = std::current_exception();
    }
    if (d->room.isClosed())
        throw VarnelSpeech::Cancelled();
    if (failure)
        log(QStringLiteral("Diarizer load failed: ") + description(failure));
    setDiarizationLoaded(!failure);
}

QCoro::Task<Output> TranscriptionEngine::transcribe(std::filesystem::path file, Progress progress,
                                                    std::stop_token stop) {
    TurnQueue::Turn turn(d->turns, d->room, stop);
    co_await completion(turn);
    if (!asrModels_)
        co_await ensureWarm();
    if (d->room.isClosed() || stop.stop_requested())
        throw VarnelSpeech::Cancelled();
    if (!asrModels_)
        throw EngineError(EngineError::Case::modelsNotLoaded);

    setStatus(Transcribing{});
    Output output;
    std::exception_ptr failure;
    try {
        output = co_await transcribeInTurn(std::move(file), std::move(progress), stop);
    } catch (...) {
        failure = std::current_exception();
    }
    if (d->room.isClosed())
        throw VarnelSpeech::Cancelled();
    setStatus(Ready{});
    if (failure)
        std::rethrow_exception(failure);
    co_return output;
}

QCoro::Task<Output> TranscriptionEngine::transcribeInTurn(std::filesystem::path file, Progress progress,
                                                          std::stop_token stop) {
    ProgressRelay relay(std::move(progress));
    FileSamples samples(std::move(file), reporting(relay, 0, readingShare));
    ParallelProgress shares(diarizationLoaded_ ? 2 : 1, reporting(relay, readingShare, 1));
    // Batch recognition keeps no distinction of sources: every file is decoded as a microphone's.
    BackgroundJob<VarnelSpeech::ASRResult> recognition(
        d->room, stop, [&asr = d->asr, &shares, &samples](const std::stop_token& stopJob) {
            VarnelSpeech::ASRResult result = recognise(asr, samples.get(stopJob), shares.job(recognitionJob), stopJob);
            shares.finish(recognitionJob);
            return result;
        });

    std::optional<VarnelSpeech::DiarizationResult> diarization;
    if (diarizationLoaded_) {
        BackgroundJob<VarnelSpeech::DiarizationResult> diarizing(
            d->room, stop, [diarizer = d->diarizer, &shares, &samples](const std::stop_token& stopJob) {
                return diarizer->diarize(samples.get(stopJob), sampleRate, 0, stopJob, shares.job(diarizationJob));
            });
        std::exception_ptr failure;
        try {
            diarization = co_await completion(diarizing);
        } catch (...) {
            failure = std::current_exception();
        }
        if (failure && !d->room.isClosed() && !stop.stop_requested())
            log(QStringLiteral("Diarizer process failed: ") + description(failure));
        shares.finish(diarizationJob);
    }

    const VarnelSpeech::ASRResult recognised = co_await completion(recognition);
    if (stop.stop_requested())
        throw VarnelSpeech::Cancelled();
    Output output{groupTokens(recognised, diarization), recognised.duration};
    relay.finish();
    co_return output;
}

void TranscriptionEngine::setStatus(Status status) {
    if (status == status_)
        return;
    status_ = std::move(status);
    Q_EMIT statusChanged();
}

void TranscriptionEngine::setDiarizationLoaded(bool loaded) {
    if (loaded == diarizationLoaded_)
        return;
    diarizationLoaded_ = loaded;
    Q_EMIT diarizationLoadedChanged();
}

} // namespace Varnel
