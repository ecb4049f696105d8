#include "VarnelSpeech/Shared/ANEMemoryOptimizer.h"

#include <gtest/gtest.h>

#include <list>
#include <thread>
#include <vector>

namespace VarnelSpeech {
namespace {

using ANEMemoryUtils::ANEMemoryError;
using Type = MLMultiArrayDataType;

template <typename Operation>
void expectError(ANEMemoryError::Case expected, Operation operation) {
    try {
        operation();
        ADD_FAILURE() << "no error";
    } catch (const ANEMemoryError& error) {
        EXPECT_EQ(error.error(), expected) << error.what();
    }
}

TEST(ANEMemoryOptimizer, GivesTheSameBufferForTheSameKey) {
    ANEMemoryOptimizer optimizer;
    const auto buffer = optimizer.getBuffer("vad_audio_input", {1, 4160}, Type::float32);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->rawData()) % 64, 0U);
    EXPECT_EQ(optimizer.getBuffer("vad_audio_input", {1, 4160}, Type::float32), buffer);
    EXPECT_NE(optimizer.getBuffer("vad_hidden_state", {1, 4160}, Type::float32), buffer);
}

TEST(ANEMemoryOptimizer, ReplacesABufferOfAnotherShapeOrType) {
    ANEMemoryOptimizer optimizer;
    const auto first = optimizer.getBuffer("key", {1, 10}, Type::float32);
    const auto second = optimizer.getBuffer("key", {1, 20}, Type::float32);
    EXPECT_NE(second, first);
    EXPECT_EQ(second->shape(), (MLShape{1, 20}));
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_EQ(optimizer.getBuffer("key", {1, 20}, Type::float32), second);
    EXPECT_EQ(optimizer.getBuffer("key", {1, 20}, Type::int32)->dataType(), Type::int32);
    EXPECT_EQ(second.use_count(), 1);
}

TEST(ANEMemoryOptimizer, KeepsItsBufferWhenANewOneCannotBeMade) {
    ANEMemoryOptimizer optimizer;
    const auto buffer = optimizer.getBuffer("key", {4}, Type::float32);
    expectError(ANEMemoryError::Case::invalidShape, [&] { optimizer.getBuffer("key", {-4}, Type::float32); });
    EXPECT_EQ(optimizer.getBuffer("key", {4}, Type::float32), buffer);
}

TEST(ANEMemoryOptimizer, ForgetsItsBuffersWhenCleared) {
    ANEMemoryOptimizer optimizer;
    const auto buffer = optimizer.getBuffer("key", {4}, Type::float32);
    optimizer.clearBufferPool();
    EXPECT_EQ(buffer.use_count(), 1);
    EXPECT_NE(optimizer.getBuffer("key", {4}, Type::float32), buffer);
}

TEST(ANEMemoryOptimizer, MakesViewsOfItsBuffers) {
    ANEMemoryOptimizer optimizer;
    const auto buffer = optimizer.getBuffer("key", {3, 256}, Type::float32);
    EXPECT_EQ(optimizer.createZeroCopyView(buffer, 256, {256})->data<float>(), buffer->data<float>() + 256);
    expectError(ANEMemoryError::Case::invalidShape, [&] { optimizer.createZeroCopyView(buffer, 513, {256}); });
}

TEST(ANEMemoryOptimizer, CopiesSamplesFromAnOffset) {
    ANEMemoryOptimizer optimizer;
    const auto tensor = optimizer.getBuffer("key", {1, 4}, Type::float32);
    const std::vector<float> samples{1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(optimizer.optimizedCopy(samples, *tensor, 2), 4U);
    EXPECT_EQ(std::vector<float>(tensor->data<float>(), tensor->data<float>() + 5),
              (std::vector<float>{3, 4, 5, 6, 0}));
    EXPECT_EQ(optimizer.optimizedCopy(samples, *tensor, 5), 2U);
    EXPECT_EQ(std::vector<float>(tensor->data<float>(), tensor->data<float>() + 4), (std::vector<float>{6, 7, 5, 6}));
    EXPECT_EQ(optimizer.optimizedCopy(samples, *tensor, 7), 0U);
    EXPECT_EQ(optimizer.optimizedCopy(samples, *tensor, 1000), 0U);
    EXPECT_EQ(optimizer.optimizedCopy(std::vector<float>(), *tensor), 0U);
}

TEST(ANEMemoryOptimizer, CopiesSequencesWithoutContiguousStorage) {
    ANEMemoryOptimizer optimizer;
    const auto tensor = optimizer.getBuffer("key", {3}, Type::float32);
    const std::list<double> samples{1, 2, 3, 4, 5};
    EXPECT_EQ(optimizer.optimizedCopy(samples.begin(), samples.end(), *tensor, 1), 3U);
    EXPECT_EQ(std::vector<float>(tensor->data<float>(), tensor->data<float>() + 3), (std::vector<float>{2, 3, 4}));
    EXPECT_EQ(optimizer.optimizedCopy(samples.begin(), samples.end(), *tensor, 4), 1U);
    EXPECT_EQ(optimizer.optimizedCopy(samples.begin(), samples.end(), *tensor, 9), 0U);
}

TEST(ANEMemoryOptimizer, CopiesToFloatTensorsOnly) {
    ANEMemoryOptimizer optimizer;
    const std::vector<float> samples{1, 2};
    const auto integers = optimizer.getBuffer("key", {2}, Type::int32);
    expectError(ANEMemoryError::Case::unsupportedDataType, [&] { optimizer.optimizedCopy(samples, *integers); });
    expectError(ANEMemoryError::Case::unsupportedDataType,
                [&] { optimizer.optimizedCopy(samples.begin(), samples.end(), *integers); });
}

TEST(ANEMemoryOptimizer, DoesNotCopyPastATensorsMemory) {
    ANEMemoryOptimizer optimizer;
    const std::vector<float> samples(8, 1.0F);
    std::vector<float> memory(4);
    MLMultiArray repeated(memory.data(), {8}, Type::float32, {0}, nullptr);
    MLMultiArray reversed(memory.data() + 3, {4}, Type::float32, {-1}, nullptr);
    expectError(ANEMemoryError::Case::invalidShape, [&] { optimizer.optimizedCopy(samples, repeated); });
    expectError(ANEMemoryError::Case::invalidShape, [&] { optimizer.optimizedCopy(samples, reversed); });
}

TEST(ANEMemoryOptimizer, MayBeAskedFromManyThreads) {
    ANEMemoryOptimizer optimizer;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, key = "key" + std::to_string(thread % 2)] {
            for (std::int64_t round = 0; round < 500; ++round)
                EXPECT_EQ(optimizer.getBuffer(key, {1 + round % 3}, Type::float32)->shape(), (MLShape{1 + round % 3}));
        });
    threads.clear();
}

} // namespace
} // namespace VarnelSpeech
