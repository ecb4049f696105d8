#include "VarnelSpeech/Diarizer/AudioValidation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace VarnelSpeech {
namespace {

using Issues = std::vector<std::string>;

const AudioValidation validation;

AudioValidationResult validate(std::size_t count, float level) {
    return validation.validateAudio(std::vector<float>(count, level));
}

TEST(AudioValidation, AcceptsASecondOfSound) {
    EXPECT_EQ(validate(16000, 0.5F), (AudioValidationResult{true, 1, {}}));
    EXPECT_EQ(validate(40000, -0.02F), (AudioValidationResult{true, 2.5F, {}}));
}

TEST(AudioValidation, TellsWhatIsTooShort) {
    const auto result = validate(15999, 0.5F);
    EXPECT_FALSE(result.isValid);
    EXPECT_EQ(result.issues, Issues{"Audio too short (minimum 1 second)"});
    EXPECT_FLOAT_EQ(result.durationSeconds, 0.9999375F);
}

TEST(AudioValidation, TellsWhatIsTooQuiet) {
    EXPECT_EQ(validate(32000, 0).issues, Issues{"Audio too quiet or silent"});
    EXPECT_EQ(validate(32000, 0.0099F).issues, Issues{"Audio too quiet or silent"});
    EXPECT_TRUE(validate(32000, 0.0101F).isValid);
}

TEST(AudioValidation, FindsEverythingWrongWithNothing) {
    EXPECT_EQ(validate(0, 0),
              (AudioValidationResult{
                  false, 0, {"Audio too short (minimum 1 second)", "No audio data", "Audio too quiet or silent"}}));
}

// In single precision the sum would come to a standstill, and a soft recording would count as silent.
TEST(AudioValidation, HearsTheEndOfALongRecording) {
    EXPECT_TRUE(validate(32'000'000, 0.011F).isValid);
}

TEST(AudioValidation, AcceptsVoicesOfSomeLength) {
    EXPECT_TRUE(validation.validateEmbedding(std::vector<float>(256, 1)));
    EXPECT_TRUE(validation.validateEmbedding(std::vector<float>{0.1001F}));
    EXPECT_TRUE(validation.validateEmbedding(std::vector<float>(256, 1e30F))); // long, but finite
    EXPECT_FALSE(validation.validateEmbedding(std::vector<float>{0.1F}));
    EXPECT_FALSE(validation.validateEmbedding(std::vector<float>(256, 0)));
    EXPECT_FALSE(validation.validateEmbedding({}));
}

TEST(AudioValidation, RefusesVoicesThatAreNoNumbers) {
    for (const float bad : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
        std::vector<float> embedding(256, 1);
        embedding[255] = bad;
        EXPECT_FALSE(validation.validateEmbedding(embedding));
    }
}

} // namespace
} // namespace VarnelSpeech
