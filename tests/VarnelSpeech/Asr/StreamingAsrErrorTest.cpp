#include "VarnelSpeech/Asr/StreamingAsrError.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

using Case = StreamingAsrError::Case;

const std::runtime_error cause("the cause");

TEST(StreamingAsrError, HasATextForEachCase) {
    const std::pair<StreamingAsrError, std::string> texts[] = {
        {StreamingAsrError::streamAlreadyExists(AudioSource::microphone),
         "A stream already exists for source: microphone"},
        {StreamingAsrError::streamAlreadyExists(AudioSource::system), "A stream already exists for source: system"},
        {StreamingAsrError::audioBufferProcessingFailed(cause), "Audio buffer processing failed: the cause"},
        {StreamingAsrError::audioConversionFailed(cause), "Audio conversion failed: the cause"},
        {StreamingAsrError::modelProcessingFailed(cause), "Model processing failed: the cause"},
        {StreamingAsrError::invalidConfiguration("no chunk"), "Invalid configuration: no chunk"},
        {StreamingAsrError(Case::modelsNotLoaded), "ASR models have not been loaded"},
        {StreamingAsrError(Case::bufferOverflow), "Audio buffer overflow occurred"},
    };
    for (const auto& [error, text] : texts)
        EXPECT_EQ(error.what(), text);
}

TEST(StreamingAsrError, KnowsItsCase) {
    EXPECT_EQ(StreamingAsrError::streamAlreadyExists(AudioSource::system).error(), Case::streamAlreadyExists);
    EXPECT_EQ(StreamingAsrError::audioBufferProcessingFailed(cause).error(), Case::audioBufferProcessingFailed);
    EXPECT_EQ(StreamingAsrError::audioConversionFailed(cause).error(), Case::audioConversionFailed);
    EXPECT_EQ(StreamingAsrError::modelProcessingFailed(cause).error(), Case::modelProcessingFailed);
    EXPECT_EQ(StreamingAsrError::invalidConfiguration("").error(), Case::invalidConfiguration);
    EXPECT_EQ(StreamingAsrError(Case::bufferOverflow).error(), Case::bufferOverflow);
}

} // namespace
} // namespace VarnelSpeech::Testing
