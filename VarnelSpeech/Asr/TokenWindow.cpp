#include "VarnelSpeech/Asr/TokenWindow.h"

#include "VarnelSpeech/Asr/ASRError.h"

namespace VarnelSpeech {

std::vector<TokenWindow> zipTokenWindows(const TdtHypothesis& hypothesis) {
    const std::size_t count = hypothesis.tokenIds.size();
    if (hypothesis.timestamps.size() != count || hypothesis.tokenConfidences.size() != count) {
        throw ASRError::processingFailed("Token, timestamp, and confidence arrays are misaligned");
    }
    std::vector<TokenWindow> tokens;
    tokens.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        tokens.push_back(
            {hypothesis.tokenIds[index], hypothesis.timestamps[index], hypothesis.tokenConfidences[index]});
    }
    return tokens;
}

} // namespace VarnelSpeech
