// From token ids to a result for people.
#include "VarnelSpeech/Asr/AsrManager.h"

#include "VarnelSpeech/Asr/TokenTimings.h"
#include "VarnelSpeech/Asr/TranscriptText.h"

#include <numeric>

namespace VarnelSpeech {

namespace {

constexpr float lowestConfidence = 0.1F; // and that of no text
constexpr float unknownConfidence = 0.5F;

} // namespace

ASRResult AsrManager::processTranscriptionResult(const std::vector<int>& tokenIds, const std::vector<int>& timestamps,
                                                 const std::vector<float>& confidences,
                                                 const std::vector<int>& tokenDurations, std::size_t audioSamples,
                                                 double processingTime,
                                                 const std::vector<TokenTiming>& existingTimings) const {
    ASRResult result;
    result.text = transcriptText(tokenIds, vocabulary_);
    result.tokenTimings = existingTimings.empty()
                              ? createTokenTimings(tokenIds, timestamps, confidences, tokenDurations, vocabulary_)
                              : keepTokenTimings(tokenIds, existingTimings, vocabulary_);
    result.duration = static_cast<double>(audioSamples) / static_cast<double>(config_.sampleRate);
    result.confidence = confidence(result.text, tokenIds.size(), confidences);
    result.processingTime = processingTime;
    return result;
}

float AsrManager::confidence(const std::string& text, std::size_t tokenCount,
                             const std::vector<float>& confidences) const {
    if (isBlank(text)) {
        return lowestConfidence;
    }
    if (confidences.empty() || confidences.size() != tokenCount) {
        logger_.warning("Expected token confidences but got none - this should not happen");
        return unknownConfidence;
    }
    const float sum = std::accumulate(confidences.begin(), confidences.end(), 0.0F);
    const float mean = sum / static_cast<float>(tokenCount);
    // A mean that is no number counts as none.
    return mean > lowestConfidence ? std::min(mean, 1.0F) : lowestConfidence;
}

} // namespace VarnelSpeech
