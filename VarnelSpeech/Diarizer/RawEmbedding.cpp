#include "VarnelSpeech/Diarizer/RawEmbedding.h"

#include "VarnelSpeech/Diarizer/EmbeddingMath.h"

#include <algorithm>

namespace VarnelSpeech {

RawEmbedding::RawEmbedding(const UUID& segment, std::span<const float> values, Date time)
    : segmentId(segment), embedding(l2Normalized(values)), timestamp(time) {}

std::vector<RawEmbedding> mergedHistory(const std::vector<RawEmbedding>& first, const std::vector<RawEmbedding>& second,
                                        std::size_t maximum) {
    std::vector<RawEmbedding> merged = first;
    merged.insert(merged.end(), second.begin(), second.end());
    if (merged.size() > maximum) {
        std::stable_sort(merged.begin(), merged.end(),
                         [](const auto& a, const auto& b) { return a.timestamp > b.timestamp; });
        merged.erase(merged.begin() + static_cast<std::ptrdiff_t>(maximum), merged.end());
    }
    return merged;
}

} // namespace VarnelSpeech
