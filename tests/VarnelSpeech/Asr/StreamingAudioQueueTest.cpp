#include "VarnelSpeech/Asr/StreamingAudioQueue.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>

namespace VarnelSpeech::Testing {
namespace {

constexpr AudioFormat stereo{48000, 2, AudioSampleType::float32, true};
constexpr AudioFormat planar{48000, 2, AudioSampleType::float32, false};

class Queue : public ::testing::Test {
protected:
    using Entries = std::vector<StreamingAudioQueue::Entry>;

    Entries take() {
        Entries entries;
        queue.take(entries, stop.get_token());
        return entries;
    }

    static const PcmBuffer& buffer(const Entries& entries, std::size_t index) {
        return std::get<PcmBuffer>(entries.at(index));
    }

    static std::vector<float> plane(const PcmBuffer& buffer, std::size_t index) {
        const auto samples = buffer.floatPlane(index);
        return {samples.begin(), samples.end()};
    }

    StreamingAudioQueue queue;
    std::stop_source stop;
};

TEST_F(Queue, KeepsTheOrder) {
    for (std::size_t frames = 1; frames <= 200; ++frames)
        queue.push(PcmBuffer(AudioFormat::speech(), frames));
    const Entries entries = take();
    ASSERT_EQ(entries.size(), 200U);
    for (std::size_t i = 0; i < entries.size(); ++i)
        EXPECT_EQ(buffer(entries, i).frameLength(), i + 1);
}

TEST_F(Queue, CopiesAView) {
    std::vector<float> samples{1, 2, 3, 4, 5, 6};
    queue.push(PcmView::of(samples, 48000, 2));
    samples.assign(6, 0.0F);
    const Entries entries = take();
    EXPECT_EQ(buffer(entries, 0).format(), stereo);
    EXPECT_EQ(plane(buffer(entries, 0), 0), (std::vector<float>{1, 2, 3, 4, 5, 6}));
}

TEST_F(Queue, CopiesPlanesThatLieApart) {
    const std::vector<float> samples{1, 2, 99, 3, 4, 99};
    queue.push(PcmView{planar, 2, reinterpret_cast<const std::byte*>(samples.data()), 3 * sizeof(float)});
    const Entries entries = take();
    EXPECT_EQ(plane(buffer(entries, 0), 0), (std::vector<float>{1, 2}));
    EXPECT_EQ(plane(buffer(entries, 0), 1), (std::vector<float>{3, 4}));
}

TEST_F(Queue, TakesAnEmptyView) {
    queue.push(PcmView{stereo, 0, nullptr, 0});
    EXPECT_EQ(buffer(take(), 0).frameLength(), 0U);
}

TEST_F(Queue, PassesOnWhyAViewIsNoAudio) {
    const std::vector<float> samples(8);
    for (const double rate : {0.0, -1.0}) {
        queue.push(PcmView::of(samples, rate, 2));
        const Entries entries = take();
        EXPECT_STREQ(std::get<AudioConverterError>(entries.at(0)).what(), "Failed to create conversion buffer");
    }
}

TEST_F(Queue, UsesTheMemoryOfReadBuffersAgain) {
    std::vector<float> samples{1, 2, 3, 4};
    queue.push(PcmView::of(samples, 48000, 2));
    Entries first = take();
    const auto* memory = buffer(first, 0).bytes().data();
    queue.giveBack(std::get<PcmBuffer>(std::move(first[0])));
    samples = {5, 6, 7, 8};
    queue.push(PcmView::of(samples, 48000, 2));
    const Entries second = take();
    EXPECT_EQ(buffer(second, 0).bytes().data(), memory);
    EXPECT_EQ(plane(buffer(second, 0), 0), samples);
}

TEST_F(Queue, MemoryOfAnotherFormatOrLengthIsNotUsed) {
    const std::vector<float> samples{1, 2, 3, 4};
    queue.giveBack(PcmBuffer(stereo, 3));
    queue.giveBack(PcmBuffer(planar, 2));
    queue.push(PcmView::of(samples, 48000, 2));
    queue.push(PcmView::of(samples, 44100, 2));
    const Entries entries = take();
    EXPECT_EQ(plane(buffer(entries, 0), 0), samples);
    EXPECT_EQ(buffer(entries, 1).format().sampleRate, 44100);
}

TEST_F(Queue, AClosedOneGivesWhatItHasAndTakesNoMore) {
    queue.push(PcmBuffer(stereo, 1));
    queue.close();
    queue.push(PcmBuffer(stereo, 2));
    const std::vector<float> samples(2);
    queue.push(PcmView::of(samples, 48000, 2));
    EXPECT_EQ(take().size(), 1U);
    Entries none;
    EXPECT_FALSE(queue.take(none, stop.get_token()));
}

TEST_F(Queue, AWaitingReaderHearsOfABufferOfTheEndAndOfAStop) {
    std::jthread writer([this] { queue.push(PcmBuffer(stereo, 7)); });
    EXPECT_EQ(take().size(), 1U);
    std::jthread stopper([this] { stop.request_stop(); });
    EXPECT_EQ(take().size(), 0U);
}

} // namespace
} // namespace VarnelSpeech::Testing
