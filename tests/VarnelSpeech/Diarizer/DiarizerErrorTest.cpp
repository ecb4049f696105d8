#include "VarnelSpeech/Diarizer/DiarizerError.h"

#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

using Case = DiarizerError::Case;

std::string text(Case error) {
    return DiarizerError(error).what();
}

TEST(DiarizerError, HasAFixedTextForEachCase) {
    EXPECT_EQ(text(Case::notInitialized), "Diarization system not initialized. Call initialize() first.");
    EXPECT_EQ(text(Case::modelDownloadFailed), "Failed to download required models.");
    EXPECT_EQ(text(Case::modelCompilationFailed), "Failed to compile CoreML models.");
    EXPECT_EQ(text(Case::embeddingExtractionFailed), "Failed to extract speaker embedding from audio.");
    EXPECT_EQ(text(Case::invalidAudioData), "Invalid audio data provided.");
    EXPECT_EQ(text(Case::memoryAllocationFailed), "Failed to allocate ANE-aligned memory.");
    EXPECT_EQ(text(Case::invalidArrayBounds), "Array bounds exceeded for zero-copy view.");
    EXPECT_STREQ(DiarizerError::processingFailed("no").what(), "Processing failed: no");
    EXPECT_EQ(DiarizerError::processingFailed("no").error(), Case::processingFailed);
}

} // namespace
} // namespace VarnelSpeech
