#include "VarnelSpeech/Inference/PredictionPool.h"

#include <gtest/gtest.h>

#include <set>

namespace VarnelSpeech {
namespace {

using Type = MLMultiArrayDataType;

TEST(PredictionPool, HandsAResultOutAgainOnlyWhenNobodyHoldsIt) {
    PredictionPool pool({"y"});
    auto first = pool.takeResult();
    const auto* const address = first.get();
    EXPECT_NE(pool.takeResult(), first);
    first = nullptr;
    std::set<const PredictionResult*> taken;
    for (int call = 0; call < 2; ++call)
        taken.insert(pool.takeResult().get());
    const auto held = pool.takeResult();
    taken.insert(held.get());
    taken.insert(pool.takeResult().get());
    EXPECT_EQ(taken.size(), 2U);
    EXPECT_TRUE(taken.count(address));
}

TEST(PredictionPool, EmptiesAResultBeforeItIsUsedAgain) {
    PredictionPool pool({"y"});
    auto result = pool.takeResult();
    const auto tensor = MLMultiArray::make({1}, Type::float32);
    result->setValue(0, tensor);
    EXPECT_EQ(result->featureValue("y"), tensor);
    EXPECT_EQ(result->featureValue("z"), nullptr);
    result = nullptr;
    EXPECT_EQ(pool.takeResult()->featureValue("y"), nullptr);
    EXPECT_EQ(tensor.use_count(), 1);
}

TEST(PredictionPool, KeepsATensorThatIsStillHeldFromBeingUsedAgain) {
    PredictionPool pool({"y"});
    const auto held = pool.takeTensor(0, {4}, Type::float32);
    for (int call = 0; call < 10; ++call)
        EXPECT_NE(pool.takeTensor(0, {4}, Type::float32), held);
}

TEST(PredictionPool, UsesATensorAgainForTheSameShapeAndTypeOnly) {
    PredictionPool pool({"y"});
    const auto* const address = pool.takeTensor(0, {4}, Type::float32).get();
    EXPECT_EQ(pool.takeTensor(0, {4}, Type::float32).get(), address);
    EXPECT_NE(pool.takeTensor(0, {5}, Type::float32).get(), address);
    EXPECT_NE(pool.takeTensor(0, {4}, Type::int32).get(), address);
}

TEST(PredictionPool, GoesOnWhenMoreIsHeldThanItKeeps) {
    PredictionPool pool({"y"});
    std::set<std::shared_ptr<MLMultiArray>> tensors;
    std::set<std::shared_ptr<PredictionResult>> results;
    for (int call = 0; call < 50; ++call) {
        tensors.insert(pool.takeTensor(0, {4}, Type::float32));
        results.insert(pool.takeResult());
    }
    EXPECT_EQ(tensors.size(), 50U);
    EXPECT_EQ(results.size(), 50U);
}

} // namespace
} // namespace VarnelSpeech
