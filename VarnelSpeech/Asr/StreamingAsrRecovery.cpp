#include "VarnelSpeech/Asr/StreamingAsrRecovery.h"

#include "VarnelSpeech/Asr/StreamingAsrError.h"

#include <string>

namespace VarnelSpeech {

void StreamingAsrRecovery::attemptErrorRecovery(const std::exception& error) const {
    logger.warning(std::string("Attempting error recovery for: ") + error.what());
    const auto* known = dynamic_cast<const StreamingAsrError*>(&error);
    if (known == nullptr)
        return resetDecoder();
    switch (known->error()) {
    case StreamingAsrError::Case::streamAlreadyExists:
        return logger.error("Stream already exists - cannot recover automatically");
    case StreamingAsrError::Case::audioBufferProcessingFailed:
        return logger.info("Recovering from audio buffer error");
    case StreamingAsrError::Case::audioConversionFailed:
        return logger.info("Recovering from audio conversion error");
    case StreamingAsrError::Case::modelProcessingFailed:
        logger.info("Recovering from model processing error - resetting decoder state");
        return resetDecoder();
    case StreamingAsrError::Case::invalidConfiguration:
        return logger.error("Configuration error cannot be recovered automatically");
    case StreamingAsrError::Case::modelsNotLoaded:
        return logger.error("Models not loaded - cannot recover automatically");
    case StreamingAsrError::Case::bufferOverflow:
        return logger.info("Buffer overflow handled automatically");
    }
}

void StreamingAsrRecovery::resetDecoder() const {
    try {
        resetDecoderState();
        logger.info("Successfully reset decoder state during error recovery");
    } catch (const std::exception& error) {
        logger.error(std::string("Failed to reset decoder state during recovery: ") + error.what());
        rebuild();
    }
}

void StreamingAsrRecovery::rebuild() const {
    try {
        reinitialize();
        logger.info("Successfully reinitialized ASR manager during error recovery");
    } catch (const std::exception& error) {
        logger.error(std::string("Failed to reinitialize ASR manager during recovery: ") + error.what());
    }
}

} // namespace VarnelSpeech
