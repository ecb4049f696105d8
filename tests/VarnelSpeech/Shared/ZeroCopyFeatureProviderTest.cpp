#include "VarnelSpeech/Shared/ZeroCopyDiarizerFeatureProvider.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace VarnelSpeech {
namespace {

static_assert(!std::is_default_constructible_v<ZeroCopyFeatureProvider>);
static_assert(!std::is_default_constructible_v<ZeroCopyDiarizerFeatureProvider>);

TEST(ZeroCopyFeatureProvider, FindsItsFeaturesByName) {
    const auto audio = MLMultiArray::make({1, 4}, MLMultiArrayDataType::float32);
    const auto mask = MLMultiArray::make({2}, MLMultiArrayDataType::float32);
    const ZeroCopyDiarizerFeatureProvider provider({{"waveform", audio}, {"mask", mask}});
    EXPECT_EQ(provider.featureNames(), (std::vector<std::string>{"mask", "waveform"}));
    EXPECT_EQ(provider.featureValue("waveform"), audio);
    EXPECT_EQ(provider.featureValue("mask"), mask);
    EXPECT_EQ(provider.featureValue("other"), nullptr);
    EXPECT_EQ(provider.features().size(), 2U);
}

TEST(ZeroCopyFeatureProvider, ChainsAnOutputToAnInputWithoutACopy) {
    const auto tensor = MLMultiArray::make({1}, MLMultiArrayDataType::float32);
    const MLDictionaryFeatureProvider output({{"encoder", tensor}, {"encoder_length", nullptr}});
    const auto chained = ZeroCopyFeatureProvider::chain(output, "encoder", "encoder_step");
    ASSERT_NE(chained, nullptr);
    EXPECT_EQ(chained->featureNames(), std::vector<std::string>{"encoder_step"});
    EXPECT_EQ(chained->featureValue("encoder_step"), tensor);
    EXPECT_EQ(chained->featureValue("encoder"), nullptr);
}

TEST(ZeroCopyFeatureProvider, ChainsNothingWhereTheOutputLacksTheName) {
    const MLDictionaryFeatureProvider output({});
    EXPECT_EQ(ZeroCopyFeatureProvider::chain(output, "encoder", "encoder_step"), nullptr);
}

} // namespace
} // namespace VarnelSpeech
