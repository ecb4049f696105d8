#include "Varnel/Refinement/TranscriptionEngine.h"

#include "Varnel/Refinement/RunToEnd.h"
#include "support/ApplicationLogRecorder.h"
#include "support/AudioFixtures.h"
#include "support/EventLoop.h"
#include "support/ScriptedRecogniser.h"
#include "support/TemporaryFolder.h"

#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

namespace Varnel {
namespace {

using Testing::ApplicationLogRecorder;
using VarnelSpeech::Testing::ScriptedRecogniser;
using VarnelSpeech::Testing::TemporaryFolder;

// Token ids 1 to 4.
std::vector<std::string> vocabulary() {
    return {"▁hello", "▁there", "▁good", "bye"};
}

struct ScriptedDiarization final : SpeakerDiarization {
    void loadModels() override {
        if (!loadFailure.empty())
            throw std::runtime_error(loadFailure);
    }

    VarnelSpeech::DiarizationResult diarize(std::span<const float> samples, int sampleRate, double startTime,
                                            std::stop_token stop, const Progress& progress) override {
        report = progress;
        sampleCount = samples.size();
        rate = sampleRate;
        start = startTime;
        if (onDiarize)
            onDiarize(stop);
        return {voices};
    }

    std::string loadFailure;
    std::vector<VarnelSpeech::TimedSpeakerSegment> voices;
    std::function<void(std::stop_token)> onDiarize;
    Progress report; // of the run
    std::size_t sampleCount = 0;
    int rate = 0;
    double start = -1;
};

QString describe(const TranscriptionEngine::Status& status) {
    if (const auto* failed = std::get_if<TranscriptionEngine::Failed>(&status))
        return QStringLiteral("failed: ") + failed->description;
    static const QStringList names{QStringLiteral("idle"), QStringLiteral("loading"), QStringLiteral("ready"),
                                   QStringLiteral("transcribing")};
    return names.at(static_cast<qsizetype>(status.index()));
}

class TranscriptionEngineTest : public ::testing::Test {
protected:
    // "hello there" in the first seconds of 3, "goodbye" at the end.
    std::filesystem::path shortFile(const char* name = "short.wav") const {
        const auto file = folder_ / name;
        ScriptedRecogniser::writeSpokenWAV(file, 3, {{5, 1}, {10, 2}, {30, 3}, {31, 4}});
        return file;
    }

    // Several windows of the model.
    std::filesystem::path longFile(const char* name = "long.wav") const {
        const auto file = folder_ / name;
        ScriptedRecogniser::writeSpokenWAV(file, 40, {{5, 1}, {400, 2}});
        return file;
    }

    std::unique_ptr<TranscriptionEngine> makeEngine() {
        auto engine = std::make_unique<TranscriptionEngine>([this] { return load(); }, diarizer_);
        QObject::connect(engine.get(), &TranscriptionEngine::statusChanged, engine.get(),
                         [this, raw = engine.get()] { states_ += describe(raw->status()); });
        return engine;
    }

    VarnelSpeech::AsrModels load() {
        ++loads_;
        loadingThread_ = QThread::currentThread();
        if (!loadFailure_.empty())
            throw std::runtime_error(loadFailure_);
        return recogniser_.models();
    }

    // The text of what a coroutine ends with.
    static QString failure(QCoro::Task<Output> task) {
        try {
            runToEnd(std::move(task));
        } catch (const std::exception& error) {
            return QString::fromUtf8(error.what());
        }
        return QStringLiteral("(no error)");
    }

    TemporaryFolder folder_;
    ApplicationLogRecorder log_;
    ScriptedRecogniser recogniser_{vocabulary()};
    std::shared_ptr<ScriptedDiarization> diarizer_;
    std::string loadFailure_;
    std::atomic<int> loads_ = 0;
    QThread* loadingThread_ = nullptr;
    QStringList states_;
};

TEST_F(TranscriptionEngineTest, WarmLoadsOnAThreadAndEndsReady) {
    diarizer_ = std::make_shared<ScriptedDiarization>();
    const auto engine = makeEngine();
    EXPECT_EQ(describe(engine->status()), QStringLiteral("idle"));
    runToEnd(engine->warm());
    EXPECT_EQ(states_, (QStringList{QStringLiteral("loading"), QStringLiteral("ready")}));
    EXPECT_TRUE(engine->diarizationLoaded());
    EXPECT_TRUE(engine->asrModels().has_value());
    EXPECT_NE(loadingThread_, QThread::currentThread());
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(TranscriptionEngineTest, WarmDoesNothingAtAllOnceLoaded) {
    const auto engine = makeEngine();
    runToEnd(engine->warm());
    states_.clear();
    runToEnd(engine->warm());
    runToEnd(engine->ensureWarm());
    EXPECT_TRUE(states_.isEmpty());
    EXPECT_EQ(loads_, 1);
}

TEST_F(TranscriptionEngineTest, CallsThatMeetDuringALoadShareIt) {
    const auto engine = makeEngine();
    auto first = engine->ensureWarm();
    auto second = engine->ensureWarm();
    auto third = engine->warm();
    runToEnd(std::move(third));
    runToEnd(std::move(second));
    runToEnd(std::move(first));
    EXPECT_EQ(loads_, 1);
    EXPECT_EQ(states_, (QStringList{QStringLiteral("loading"), QStringLiteral("ready")}));
}

TEST_F(TranscriptionEngineTest, WithoutADiarizerEveryTranscriptIsOfOneSpeaker) {
    const auto engine = makeEngine();
    runToEnd(engine->warm());
    EXPECT_FALSE(engine->diarizationLoaded());
    EXPECT_EQ(describe(engine->status()), QStringLiteral("ready"));
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("Diarizer load failed: no diarizer in this build")});
    const Output output = runToEnd(engine->transcribe(shortFile()));
    EXPECT_EQ(output.duration, 3);
    ASSERT_EQ(output.segments.size(), 1U);
    EXPECT_EQ(output.segments[0],
              (Output::Segment{0, 3, QStringLiteral("hello there goodbye"), QStringLiteral("S1"), {}}));
    EXPECT_EQ(log_.lines().size(), 1); // nothing new
}

TEST_F(TranscriptionEngineTest, AFailedDiarizerNeverFailsTheEngine) {
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->loadFailure = "no such bundle";
    const auto engine = makeEngine();
    runToEnd(engine->ensureWarm());
    EXPECT_FALSE(engine->diarizationLoaded());
    EXPECT_EQ(describe(engine->status()), QStringLiteral("ready"));
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("Diarizer load failed: no such bundle")});
}

TEST_F(TranscriptionEngineTest, AFailedLoadStaysFailed) {
    loadFailure_ = "the disk is on fire";
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->loadFailure = "must not be tried";
    const auto engine = makeEngine();
    runToEnd(engine->ensureWarm());
    EXPECT_EQ(states_, (QStringList{QStringLiteral("loading"), QStringLiteral("failed: the disk is on fire")}));
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("ASR load failed: the disk is on fire")});

    loadFailure_.clear();
    runToEnd(engine->ensureWarm());
    EXPECT_EQ(failure(engine->transcribe(shortFile())), QStringLiteral("ASR models not loaded"));
    EXPECT_EQ(describe(engine->status()), QStringLiteral("failed: the disk is on fire"));
    EXPECT_EQ(loads_, 1);
    EXPECT_FALSE(engine->asrModels().has_value());
}

TEST_F(TranscriptionEngineTest, TheMissingModelsErrorHasADomainAndACode) {
    const EngineError error(EngineError::Case::modelsNotLoaded);
    EXPECT_STREQ(error.what(), "ASR models not loaded");
    EXPECT_STREQ(EngineError::domain(), "TranscriptionEngine");
    EXPECT_EQ(error.code(), 1);
}

TEST_F(TranscriptionEngineTest, WhatIsThrownAndIsNoErrorIsAFailedLoadToo) {
    TranscriptionEngine engine([]() -> VarnelSpeech::AsrModels { throw 5; });
    runToEnd(engine.ensureWarm());
    EXPECT_EQ(describe(engine.status()), QStringLiteral("failed: unknown error"));
}

TEST_F(TranscriptionEngineTest, TranscribeLoadsTheModelsFirst) {
    const auto engine = makeEngine();
    const Output output = runToEnd(engine->transcribe(shortFile()));
    EXPECT_EQ(output.segments.size(), 1U);
    EXPECT_EQ(states_, (QStringList{QStringLiteral("loading"), QStringLiteral("ready"), QStringLiteral("transcribing"),
                                    QStringLiteral("ready")}));
}

TEST_F(TranscriptionEngineTest, WordsGoToTheVoicesThatTheDiarizerHears) {
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->voices = {{"a", "1", {0.25F}, 0, 2, 1}, {"b", "2", {0.5F}, 2, 3, 1}};
    const auto engine = makeEngine();
    const Output output = runToEnd(engine->transcribe(shortFile()));
    ASSERT_EQ(output.segments.size(), 2U);
    EXPECT_EQ(output.segments[0].text, QStringLiteral("hello there"));
    EXPECT_EQ(output.segments[0].speakerKey, QStringLiteral("1"));
    EXPECT_NEAR(output.segments[0].startTime, 0.4, 1e-9); // frame 5
    EXPECT_EQ(output.segments[1].text, QStringLiteral("goodbye"));
    EXPECT_EQ(output.segments[1].embedding, std::vector<float>{0.5F});
    // The diarizer gets the whole file for itself.
    EXPECT_EQ(diarizer_->sampleCount, 48000U);
    EXPECT_EQ(diarizer_->rate, 16000);
    EXPECT_EQ(diarizer_->start, 0);
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(TranscriptionEngineTest, RecognitionAndDiarizationRunAtTheSameTime) {
    // Each waits for the other: one after the other they would never end.
    std::promise<void> recognising;
    std::promise<void> diarizing;
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->onDiarize = [&](const std::stop_token&) {
        diarizing.set_value();
        recognising.get_future().wait();
    };
    recogniser_.onWindow = [&](std::size_t) {
        recognising.set_value();
        diarizing.get_future().wait();
    };
    EXPECT_FALSE(runToEnd(makeEngine()->transcribe(shortFile())).segments.empty());
}

TEST_F(TranscriptionEngineTest, AFailedDiarizationIsLoggedAndGivesOneSpeaker) {
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->voices = {{"a", "1", {}, 0, 1.5F, 1}};
    diarizer_->onDiarize = [](const std::stop_token&) { throw std::runtime_error("out of voices"); };
    const auto engine = makeEngine();
    const Output output = runToEnd(engine->transcribe(shortFile()));
    ASSERT_EQ(output.segments.size(), 1U);
    EXPECT_EQ(output.segments[0].speakerKey, QStringLiteral("S1"));
    EXPECT_EQ(log_.lines(), QStringList{QStringLiteral("Diarizer process failed: out of voices")});
    EXPECT_EQ(describe(engine->status()), QStringLiteral("ready"));
}

TEST_F(TranscriptionEngineTest, SilenceIsNoSegments) {
    const auto file = folder_ / "silence.wav";
    ScriptedRecogniser::writeSpokenWAV(file, 2, {});
    const Output output = runToEnd(makeEngine()->transcribe(file));
    EXPECT_TRUE(output.segments.empty());
    EXPECT_EQ(output.duration, 2);
}

TEST_F(TranscriptionEngineTest, AFailedRecognitionFailsTheCallAndLeavesTheEngineReady) {
    const auto file = folder_ / "half-a-second.wav";
    ScriptedRecogniser::writeSpokenWAV(file, 0.5, {});
    const auto engine = makeEngine();
    EXPECT_EQ(failure(engine->transcribe(file)),
              QStringLiteral("Invalid audio data provided. Must be at least 1 second of 16kHz audio."));
    EXPECT_EQ(describe(engine->status()), QStringLiteral("ready"));
    EXPECT_EQ(states_.last(2), (QStringList{QStringLiteral("transcribing"), QStringLiteral("ready")}));
    // And able.
    EXPECT_FALSE(runToEnd(engine->transcribe(shortFile())).segments.empty());
}

TEST_F(TranscriptionEngineTest, FilesThatAreNoAudioFailTheCall) {
    const auto engine = makeEngine();
    VarnelSpeech::Testing::writeText(folder_ / "text.wav", "this is no audio");
    EXPECT_TRUE(failure(engine->transcribe(folder_ / "text.wav")).contains(QStringLiteral("not an audio file")));
    EXPECT_TRUE(failure(engine->transcribe(folder_ / "absent.wav")).contains(QStringLiteral("no such file")));
    EXPECT_TRUE(failure(engine->transcribe(folder_.path())).contains(QStringLiteral("is a directory")));
}

TEST_F(TranscriptionEngineTest, CallsQueueUpFirstComeFirstServed) {
    const auto engine = makeEngine();
    QStringList ended;
    const auto run = [&](std::filesystem::path file, QString name) -> QCoro::Task<> {
        const Output output = co_await engine->transcribe(std::move(file));
        ended += QStringLiteral("%1: %2").arg(name, output.segments.empty() ? QString() : output.segments[0].text);
    };
    auto first = run(longFile(), QStringLiteral("first"));
    auto second = run(shortFile("a.wav"), QStringLiteral("second"));
    auto third = run(shortFile("b.wav"), QStringLiteral("third"));
    runToEnd(std::move(third));
    EXPECT_EQ(ended, (QStringList{QStringLiteral("first: hello there"), QStringLiteral("second: hello there goodbye"),
                                  QStringLiteral("third: hello there goodbye")}));
    const QStringList turn{QStringLiteral("transcribing"), QStringLiteral("ready")};
    EXPECT_EQ(states_, (QStringList{QStringLiteral("loading"), QStringLiteral("ready")}) + turn + turn + turn);
}

TEST_F(TranscriptionEngineTest, AFailureLetsTheNextInTheQueueGoOn) {
    const auto engine = makeEngine();
    auto first = engine->transcribe(folder_ / "absent.wav");
    auto second = engine->transcribe(shortFile());
    EXPECT_FALSE(runToEnd(std::move(second)).segments.empty());
    EXPECT_TRUE(failure(std::move(first)).contains(QStringLiteral("no such file")));
}

TEST_F(TranscriptionEngineTest, ProgressRisesToOneOnTheMainContext) {
    std::vector<double> values;
    bool isAlwaysMain = true;
    const auto engine = makeEngine();
    runToEnd(engine->transcribe(longFile(), [&](double value) {
        isAlwaysMain = isAlwaysMain && QThread::currentThread() == qApp->thread();
        values.push_back(value);
    }));
    ASSERT_GE(values.size(), 4U); // reading, three windows or more
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    EXPECT_GE(values.front(), 0);
    EXPECT_EQ(values.back(), 1);
    EXPECT_TRUE(isAlwaysMain);
}

TEST_F(TranscriptionEngineTest, ProgressOfAShortFileRisesToOneToo) {
    std::vector<double> values;
    const auto engine = makeEngine();
    for (int i = 0; i < 2; ++i) {
        values.clear();
        runToEnd(engine->transcribe(shortFile(), [&](double value) { values.push_back(value); }));
        ASSERT_FALSE(values.empty());
        EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
        EXPECT_EQ(values.back(), 1);
    }
}

TEST_F(TranscriptionEngineTest, AFailedCallDoesNotReachTheEnd) {
    std::vector<double> values;
    recogniser_.onWindow = [](std::size_t index) {
        if (index == 1)
            throw VarnelSpeech::MLModelError("the network broke");
    };
    EXPECT_EQ(failure(makeEngine()->transcribe(longFile(), [&](double value) { values.push_back(value); })),
              QStringLiteral("the network broke"));
    ASSERT_FALSE(values.empty());
    EXPECT_LT(values.back(), 1);
}

TEST_F(TranscriptionEngineTest, AStopEndsACallBetweenWindows) {
    std::stop_source stop;
    std::atomic<std::size_t> windows = 0;
    recogniser_.onWindow = [&](std::size_t) {
        ++windows;
        stop.request_stop();
    };
    const auto engine = makeEngine();
    EXPECT_THROW(runToEnd(engine->transcribe(longFile(), {}, stop.get_token())), VarnelSpeech::Cancelled);
    EXPECT_EQ(windows, 1U);
    EXPECT_EQ(describe(engine->status()), QStringLiteral("ready"));
    // The next one is not stopped.
    recogniser_.onWindow = {};
    EXPECT_FALSE(runToEnd(engine->transcribe(longFile())).segments.empty());
}

TEST_F(TranscriptionEngineTest, AStopDuringDiarizationEndsTheCallWithoutALogLine) {
    std::stop_source stop;
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->onDiarize = [&](const std::stop_token& token) {
        stop.request_stop();
        EXPECT_TRUE(token.stop_requested());
        throw VarnelSpeech::Cancelled();
    };
    EXPECT_THROW(runToEnd(makeEngine()->transcribe(shortFile(), {}, stop.get_token())), VarnelSpeech::Cancelled);
    EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(TranscriptionEngineTest, AStopBeforeTheTurnNeverStarts) {
    std::stop_source stop;
    stop.request_stop();
    const auto engine = makeEngine();
    EXPECT_THROW(runToEnd(engine->transcribe(shortFile(), {}, stop.get_token())), VarnelSpeech::Cancelled);
    EXPECT_TRUE(states_.isEmpty());
}

TEST_F(TranscriptionEngineTest, AStopInTheQueueDoesNotWaitForTheTurn) {
    std::promise<void> release;
    recogniser_.onWindow = [waiting = release.get_future().share()](std::size_t) { waiting.wait(); };
    const auto engine = makeEngine();
    std::stop_source stop;
    auto running = engine->transcribe(shortFile("a.wav"));
    auto queued = engine->transcribe(shortFile("b.wav"), {}, stop.get_token());
    auto last = engine->transcribe(shortFile("c.wav"));
    stop.request_stop();
    EXPECT_THROW(runToEnd(std::move(queued)), VarnelSpeech::Cancelled); // the first one still runs
    release.set_value();
    EXPECT_FALSE(runToEnd(std::move(running)).segments.empty());
    EXPECT_FALSE(runToEnd(std::move(last)).segments.empty());
}

TEST_F(TranscriptionEngineTest, ItsEndStopsAndJoinsWhatRunsAndFailsWhatWaits) {
    std::promise<void> reached;
    std::atomic<std::size_t> windows = 0;
    recogniser_.onWindow = [&](std::size_t) {
        if (++windows == 1)
            reached.set_value();
    };
    diarizer_ = std::make_shared<ScriptedDiarization>();
    diarizer_->onDiarize = [](const std::stop_token& stop) { // until it is told to stop
        std::promise<void> stopped;
        const std::stop_callback callback(stop, [&] { stopped.set_value(); });
        stopped.get_future().wait();
    };
    auto engine = makeEngine();
    QStringList ended;
    bool hasProgressAfterwards = false;
    const auto run = [&](std::filesystem::path file) -> QCoro::Task<> {
        try {
            co_await engine->transcribe(std::move(file), [&](double) { hasProgressAfterwards = !engine; });
        } catch (const VarnelSpeech::Cancelled&) {
            ended += QStringLiteral("cancelled");
        }
    };
    runToEnd(engine->warm());
    auto first = run(longFile("a.wav"));
    auto second = run(shortFile("b.wav"));
    reached.get_future().wait();
    engine.reset();
    EXPECT_EQ(ended, (QStringList{QStringLiteral("cancelled"), QStringLiteral("cancelled")}));
    QCoreApplication::processEvents();
    EXPECT_FALSE(hasProgressAfterwards);
    EXPECT_FALSE(states_.contains(QStringLiteral("ready")) && states_.last() == QStringLiteral("ready"));
}

TEST_F(TranscriptionEngineTest, ItsEndDuringALoadWaitsForTheLoad) {
    std::promise<void> reached;
    std::atomic<bool> hasLoaded = false;
    auto engine = std::make_unique<TranscriptionEngine>([&]() -> VarnelSpeech::AsrModels {
        reached.set_value();
        hasLoaded = true;
        return recogniser_.models();
    });
    auto warm = engine->ensureWarm();
    auto also = engine->ensureWarm();
    auto call = engine->transcribe(shortFile());
    reached.get_future().wait();
    engine.reset();
    EXPECT_TRUE(hasLoaded);
    runToEnd(std::move(warm)); // neither fails its caller
    runToEnd(std::move(also));
    EXPECT_THROW(runToEnd(std::move(call)), VarnelSpeech::Cancelled);
}

TEST_F(TranscriptionEngineTest, ItMayGoWhenACallComesBack) {
    auto engine = makeEngine();
    QString text;
    const auto run = [&](std::filesystem::path file) -> QCoro::Task<> {
        const Output output = co_await engine->transcribe(std::move(file));
        text = output.segments.at(0).text;
        engine.reset();
    };
    auto second = [&]() -> QCoro::Task<> {
        try {
            co_await engine->transcribe(shortFile("b.wav"));
        } catch (const VarnelSpeech::Cancelled&) {
            text += QStringLiteral(" / cancelled");
        }
    };
    auto running = run(shortFile("a.wav"));
    auto queued = second();
    runToEnd(std::move(running));
    runToEnd(std::move(queued));
    EXPECT_EQ(text, QStringLiteral("hello there goodbye / cancelled"));
}

} // namespace
} // namespace Varnel
