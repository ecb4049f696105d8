#include "VarnelSpeech/Inference/MLFeatureProvider.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

TEST(MLDictionaryFeatureProvider, NamesItsFeaturesInAscendingOrderAndFindsThem) {
    const auto first = MLMultiArray::make({1}, MLMultiArrayDataType::float32);
    const auto second = MLMultiArray::make({2}, MLMultiArrayDataType::int32);
    const MLDictionaryFeatureProvider provider({{"b", second}, {"a", first}});
    EXPECT_EQ(provider.featureNames(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(provider.featureValue("a"), first);
    EXPECT_EQ(provider.featureValue("b"), second);
    EXPECT_EQ(provider.featureValue("c"), nullptr);
}

} // namespace
} // namespace VarnelSpeech
