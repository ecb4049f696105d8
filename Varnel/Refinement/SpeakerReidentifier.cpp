#include "Varnel/Refinement/SpeakerReidentifier.h"

namespace Varnel::SpeakerReidentifier {

std::optional<std::vector<float>> meanEmbedding(const QString& speakerKey,
                                                const std::vector<Output::Segment>& segments) {
    std::vector<float> mean;
    std::size_t count = 0;
    for (const auto& segment : segments) {
        if (segment.speakerKey != speakerKey || segment.embedding.empty())
            continue;
        if (mean.empty())
            mean.assign(segment.embedding.size(), 0.0F);
        if (segment.embedding.size() != mean.size())
            continue;
        for (std::size_t i = 0; i < mean.size(); ++i)
            mean[i] += segment.embedding[i];
        ++count;
    }
    if (count == 0)
        return std::nullopt;
    for (float& value : mean)
        value /= static_cast<float>(count);
    return mean;
}

} // namespace Varnel::SpeakerReidentifier
