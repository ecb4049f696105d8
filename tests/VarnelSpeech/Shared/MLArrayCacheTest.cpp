#include "VarnelSpeech/Shared/MLArrayCache.h"

#include "VarnelSpeech/Shared/ANEOptimizer.h"
#include "support/LogRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <set>
#include <thread>

namespace VarnelSpeech {
namespace {

using Testing::LogRecorder;
using Type = MLMultiArrayDataType;

// How many tensors of a kind the pool still takes.
int roomFor(MLArrayCache& cache, const MLShape& shape, Type type) {
    for (int taken = 0;; ++taken) {
        const auto array = MLMultiArray::make(shape, type);
        cache.returnArray(array);
        if (array.use_count() == 1)
            return taken;
    }
}

TEST(MLArrayCache, MakesAnAlignedTensorWhenItHasNone) {
    MLArrayCache cache;
    const auto array = cache.getArray({1, 10}, Type::float32);
    EXPECT_EQ(array->strides(), (MLShape{16, 1}));
    EXPECT_NE(cache.getArray({1, 10}, Type::float32), array);
    EXPECT_THROW(cache.getArray({-1}, Type::float32), ANEOptimizerError);
}

TEST(MLArrayCache, GivesBackTheLastReturnedAsItWas) {
    MLArrayCache cache;
    const auto first = cache.getArray({4}, Type::float32);
    const auto second = cache.getArray({4}, Type::float32);
    second->data<float>()[0] = 9;
    cache.returnArray(first);
    cache.returnArray(second);
    EXPECT_EQ(cache.getArray({4}, Type::float32), second);
    EXPECT_EQ(second->data<float>()[0], 9.0F);
    EXPECT_EQ(cache.getArray({4}, Type::float32), first);
}

TEST(MLArrayCache, KeepsShapesAndTypesApart) {
    MLArrayCache cache;
    const auto array = cache.getArray({2, 3}, Type::float32);
    cache.returnArray(array);
    EXPECT_NE(cache.getArray({3, 2}, Type::float32), array);
    EXPECT_NE(cache.getArray({6}, Type::float32), array);
    EXPECT_NE(cache.getArray({2, 3}, Type::int32), array);
    EXPECT_EQ(cache.getArray({2, 3}, Type::float32), array);
}

TEST(MLArrayCache, DropsTheHundredAndFirstOfAKind) {
    MLArrayCache cache;
    for (std::size_t index = 0; index < MLArrayCache::maxCacheSize; ++index)
        cache.returnArray(MLMultiArray::make({1}, Type::int32));
    const auto surplus = MLMultiArray::make({1}, Type::int32);
    const auto ofAnotherKind = MLMultiArray::make({2}, Type::int32);
    cache.returnArray(surplus);
    cache.returnArray(ofAnotherKind);
    EXPECT_EQ(surplus.use_count(), 1);
    EXPECT_EQ(ofAnotherKind.use_count(), 2);
    EXPECT_EQ(MLArrayCache::maxCacheSize, 100U);
}

TEST(MLArrayCache, IgnoresANullReturn) {
    MLArrayCache cache;
    cache.returnArray(nullptr);
    EXPECT_NE(cache.getArray({1}, Type::int32), nullptr);
}

TEST(MLArrayCache, ForgetsAllWhenCleared) {
    MLArrayCache cache;
    const auto array = MLMultiArray::make({1}, Type::int32);
    cache.returnArray(array);
    cache.clear();
    EXPECT_EQ(array.use_count(), 1);
    EXPECT_NE(cache.getArray({1}, Type::int32), array);
}

TEST(MLArrayCache, PrewarmsOneOfEachAndSaysSo) {
    const LogRecorder log;
    MLArrayCache cache;
    cache.prewarm({{{1, 100}, Type::float32}, {{1}, Type::int32}, {{2, 1, 640}, Type::float32}});
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0],
              (LogRecorder::Line{AppLogger::Level::info, "MLArrayCache", "Pre-warming cache with 3 shapes"}));
    EXPECT_EQ(roomFor(cache, {1, 100}, Type::float32), 99);
    EXPECT_EQ(roomFor(cache, {1}, Type::int32), 99);
    EXPECT_EQ(roomFor(cache, {2, 1, 640}, Type::float32), 99);
}

TEST(MLArrayCache, GoesOnAfterAShapeThatCannotBePrewarmed) {
    const LogRecorder log;
    MLArrayCache cache;
    const auto before = MLMultiArray::make({7}, Type::int32);
    cache.prewarm(
        {{{-3}, Type::float32}, {{std::numeric_limits<std::int64_t>::max()}, Type::float32}, {{5}, Type::float32}});
    EXPECT_EQ(log.messages(AppLogger::Level::error),
              (std::vector<std::string>{
                  "Failed to pre-warm shape [-3]: ANE memory allocation error: invalidShape",
                  "Failed to pre-warm shape [9223372036854775807]: Failed to allocate ANE-aligned memory"}));
    EXPECT_EQ(roomFor(cache, {5}, Type::float32), 99);
    EXPECT_EQ(roomFor(cache, {6}, Type::float32), 100);
}

TEST(MLArrayCache, HasOneSharedInstance) {
    EXPECT_EQ(&MLArrayCache::shared(), &MLArrayCache::shared());
}

TEST(MLArrayCache, NeverGivesOneTensorToTwoThreads) {
    MLArrayCache cache;
    std::atomic<int> clashes = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 2000; ++round) {
                const auto array = cache.getArray({8}, Type::int32);
                array->data<std::int32_t>()[0] = thread;
                if (round % 64 == 0)
                    std::this_thread::yield();
                if (array->data<std::int32_t>()[0] != thread)
                    ++clashes;
                cache.returnArray(array);
            }
        });
    threads.clear();
    EXPECT_EQ(clashes, 0);
}

} // namespace
} // namespace VarnelSpeech
