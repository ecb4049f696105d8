#include "Varnel/Refinement/FileSamples.h"

#include "VarnelSpeech/Shared/AudioFileError.h"
#include "VarnelSpeech/Shared/Cancelled.h"
#include "support/AudioFixtures.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace Varnel {
namespace {

using VarnelSpeech::Testing::FixtureFormat;
using VarnelSpeech::Testing::TemporaryFolder;

std::filesystem::path writeTone(const TemporaryFolder& folder) {
    const auto file = folder / "tone.wav";
    VarnelSpeech::Testing::writeAudio(file, FixtureFormat::wavFloat, 16000, 1,
                                      VarnelSpeech::Testing::tone(440, 16000, 1, 32000));
    return file;
}

TEST(FileSamples, AreReadOnceForAll) {
    const TemporaryFolder folder;
    std::promise<void> begun;
    std::promise<void> go;
    std::atomic<bool> hasBegun = false;
    FileSamples samples(writeTone(folder), [&](double) {
        if (hasBegun.exchange(true))
            return;
        begun.set_value();
        go.get_future().wait(); // a second reader would find the file gone
    });
    auto first = std::async(std::launch::async, [&] { return samples.get({}).data(); });
    begun.get_future().wait();
    std::filesystem::remove(folder / "tone.wav");
    auto second = std::async(std::launch::async, [&] { return samples.get({}).data(); });
    go.set_value();
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(samples.get({}).size(), 32000U);
}

TEST(FileSamples, FailForAllAlike) {
    FileSamples samples("/no/such/file.wav", {});
    EXPECT_THROW(samples.get({}), VarnelSpeech::AudioFileError);
    EXPECT_THROW(samples.get({}), VarnelSpeech::AudioFileError);
}

TEST(FileSamples, LetWhoIsStoppedGoWhileAnotherReads) {
    const TemporaryFolder folder;
    std::promise<void> begun;
    std::promise<void> go;
    std::atomic<bool> hasBegun = false;
    FileSamples samples(writeTone(folder), [&](double) {
        if (hasBegun.exchange(true))
            return;
        begun.set_value();
        go.get_future().wait();
    });
    auto reader = std::async(std::launch::async, [&] { return samples.get({}).size(); });
    begun.get_future().wait();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(samples.get(stop.get_token()), VarnelSpeech::Cancelled);
    go.set_value();
    EXPECT_EQ(reader.get(), 32000U);
}

} // namespace
} // namespace Varnel
