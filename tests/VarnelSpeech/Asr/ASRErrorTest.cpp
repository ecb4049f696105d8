#include "VarnelSpeech/Asr/ASRError.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

using Case = ASRError::Case;

TEST(ASRError, HasATextForEachCase) {
    EXPECT_STREQ(ASRError(Case::processingFailed, "x").what(), "ASR processing failed: x");
    EXPECT_STREQ(ASRError(Case::unsupportedPlatform, "no").what(), "no");
    EXPECT_STREQ(ASRError(Case::notInitialized).what(), "AsrManager not initialized. Call initialize() first.");
    EXPECT_STREQ(ASRError(Case::invalidAudioData).what(),
                 "Invalid audio data provided. Must be at least 1 second of 16kHz audio.");
    EXPECT_STREQ(ASRError(Case::modelLoadFailed).what(), "Failed to load Parakeet CoreML models.");
    EXPECT_STREQ(ASRError(Case::modelCompilationFailed).what(),
                 "CoreML model compilation failed after recovery attempts.");
    EXPECT_STREQ(ASRError(Case::stateAllocationFailed, "x").what(), "Failed to allocate decoder state: x");
}

TEST(ASRError, KeepsItsCase) {
    EXPECT_EQ(ASRError(Case::modelLoadFailed).error(), Case::modelLoadFailed);
    EXPECT_EQ(ASRError::processingFailed("x").error(), Case::processingFailed);
}

} // namespace
} // namespace VarnelSpeech
