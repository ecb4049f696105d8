// Counts what a capture's thread allocates when it hands audio to the live recogniser.
#include "VarnelSpeech/Asr/StreamingAudioQueue.h"

#include "VarnelSpeech/Inference/AllocationCounter.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

TEST(StreamingAudioAllocation, IsNoneOnceMemoryComesBack) {
    constexpr std::size_t behind = 8; // buffers, by which the reader is late
    const std::vector<float> samples(4096 * 2, 0.25F);
    const PcmView block = PcmView::of(samples, 48000, 2);
    const AllocationCounter counter;
    StreamingAudioQueue queue;
    std::vector<StreamingAudioQueue::Entry> entries;
    entries.reserve(StreamingAudioQueue::expectedBuffers);
    int allocations = 0;
    for (int round = 0; round < 20; ++round) {
        const int before = counter.ownAllocations();
        for (std::size_t i = 0; i < behind; ++i)
            queue.push(block);
        allocations = counter.ownAllocations() - before;
        if (round == 0) {
            EXPECT_GE(allocations, static_cast<int>(behind)) << "nothing is there to be used again";
        } else {
            EXPECT_EQ(allocations, 0) << "in round " << round;
        }
        ASSERT_TRUE(queue.take(entries, {}));
        ASSERT_EQ(entries.size(), behind);
        for (auto& entry : entries)
            queue.giveBack(std::get<PcmBuffer>(std::move(entry)));
        entries.clear();
    }
}

} // namespace
} // namespace VarnelSpeech::Testing
