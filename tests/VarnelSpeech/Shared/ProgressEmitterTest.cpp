#include "VarnelSpeech/Shared/ProgressEmitter.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

using namespace VarnelSpeech;

TEST(ProgressEmitter, LimitsWhatItSends) {
    ProgressEmitter emitter;
    const auto stream = emitter.ensureSession();
    emitter.report(-0.5);
    emitter.report(0.25);
    emitter.report(1.7);
    EXPECT_EQ(stream->next(), 0.0);
    EXPECT_EQ(stream->next(), 0.25);
    EXPECT_EQ(stream->next(), 1.0);
}

TEST(ProgressEmitter, SendsNothingWithoutASession) {
    ProgressEmitter emitter;
    emitter.report(0.5);
    const auto stream = emitter.ensureSession();
    emitter.finishSession();
    emitter.report(0.5);
    EXPECT_EQ(stream->next(), 1.0);
    EXPECT_EQ(stream->next(), std::nullopt);
}

TEST(ProgressEmitter, GivesTheSameStreamForASecondEnsure) {
    ProgressEmitter emitter;
    const auto stream = emitter.ensureSession();
    EXPECT_EQ(emitter.ensureSession(), stream);
    EXPECT_EQ(emitter.progressStream(), stream);
}

TEST(ProgressEmitter, FinishesWithOneAndTheStreamsEnd) {
    ProgressEmitter emitter;
    const auto stream = emitter.ensureSession();
    emitter.report(0.5);
    emitter.finishSession();
    EXPECT_EQ(stream->next(), 0.5);
    EXPECT_EQ(stream->next(), 1.0);
    EXPECT_EQ(stream->next(), std::nullopt);
    EXPECT_EQ(stream->next(), std::nullopt);
}

TEST(ProgressEmitter, FailsWithTheErrorAfterWhatWasSent) {
    ProgressEmitter emitter;
    const auto stream = emitter.ensureSession();
    emitter.report(0.5);
    emitter.failSession(std::make_exception_ptr(std::runtime_error("no model")));
    EXPECT_EQ(stream->next(), 0.5);
    EXPECT_THROW(stream->next(), std::runtime_error);
    EXPECT_EQ(stream->next(), std::nullopt);
    emitter.report(0.75);
    EXPECT_EQ(stream->next(), std::nullopt);
}

TEST(ProgressEmitter, StartsAFreshStreamAfterAnEndedOne) {
    ProgressEmitter emitter;
    const auto first = emitter.ensureSession();
    emitter.finishSession();
    const auto second = emitter.ensureSession();
    EXPECT_NE(first, second);
    emitter.failSession(std::make_exception_ptr(std::runtime_error("no")));
    EXPECT_NE(emitter.ensureSession(), second);
}

TEST(ProgressEmitter, EndsNothingTwice) {
    ProgressEmitter emitter;
    const auto stream = emitter.ensureSession();
    emitter.finishSession();
    emitter.finishSession();
    emitter.failSession(std::make_exception_ptr(std::runtime_error("late")));
    EXPECT_EQ(stream->next(), 1.0);
    EXPECT_EQ(stream->next(), std::nullopt);
}

TEST(ProgressEmitter, EndsARunningStreamWithItself) {
    std::shared_ptr<ProgressStream> stream;
    {
        ProgressEmitter emitter;
        stream = emitter.ensureSession();
        emitter.report(0.5);
    }
    EXPECT_EQ(stream->next(), 0.5);
    EXPECT_EQ(stream->next(), std::nullopt);
}

TEST(ProgressEmitter, HandsValuesToAReaderOnAnotherThreadInOrder) {
    ProgressEmitter emitter;
    const auto stream = emitter.ensureSession();
    std::vector<double> read;
    std::jthread reader([&] {
        while (const auto value = stream->next())
            read.push_back(*value);
    });
    for (int step = 0; step < 100; ++step)
        emitter.report(step / 100.0);
    emitter.finishSession();
    reader.join();
    ASSERT_EQ(read.size(), 101U);
    for (int step = 0; step < 100; ++step)
        EXPECT_EQ(read[static_cast<std::size_t>(step)], step / 100.0);
    EXPECT_EQ(read.back(), 1.0);
}
