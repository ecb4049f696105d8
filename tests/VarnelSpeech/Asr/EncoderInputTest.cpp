#include "VarnelSpeech/Asr/EncoderInput.h"

#include "support/ScriptedModel.h"
#include "support/ThrownText.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Type = MLMultiArrayDataType;

std::shared_ptr<MLMultiArray> tensor() {
    return MLMultiArray::make({1}, Type::float32);
}

TEST(EncoderInput, IsThePreprocessorsOutputWhereThatHasEverything) {
    const auto output = std::make_shared<MLDictionaryFeatureProvider>(
        MLDictionaryFeatureProvider::Dictionary{{"mel", tensor()}, {"mel_length", tensor()}, {"more", tensor()}});
    const auto encoder = describeModel({{"mel", {1}}, {"mel_length", {1}}}, {});
    EXPECT_EQ(prepareEncoderInput(encoder, output, MLDictionaryFeatureProvider({})), output);
}

TEST(EncoderInput, TakesWhatIsMissingFromThePreprocessorsInput) {
    const auto mel = tensor();
    const auto length = tensor();
    const auto output =
        std::make_shared<MLDictionaryFeatureProvider>(MLDictionaryFeatureProvider::Dictionary{{"mel", mel}});
    const MLDictionaryFeatureProvider input({{"audio_length", length}, {"mel", tensor()}});
    const auto encoder = describeModel({{"mel", {1}}, {"audio_length", {1}}}, {});
    const auto prepared = prepareEncoderInput(encoder, output, input);
    EXPECT_EQ(prepared->featureValue("mel"), mel); // the output's, not the input's
    EXPECT_EQ(prepared->featureValue("audio_length"), length);
}

TEST(EncoderInput, FailsForAnInputThatNeitherHas) {
    const auto output = std::make_shared<MLDictionaryFeatureProvider>(
        MLDictionaryFeatureProvider::Dictionary{{"mel", tensor()}, {"mel_length", tensor()}});
    const MLDictionaryFeatureProvider input({{"audio_length", tensor()}, {"audio_signal", tensor()}});
    const auto encoder = describeModel({{"features", {1}}, {"mel", {1}}}, {});
    EXPECT_EQ(thrownText([&] { prepareEncoderInput(encoder, output, input); }),
              processingFailed("Missing required encoder input: features. Available inputs: mel, mel_length, "
                               "fallback inputs: audio_length, audio_signal"));
}

} // namespace
} // namespace VarnelSpeech::Testing
