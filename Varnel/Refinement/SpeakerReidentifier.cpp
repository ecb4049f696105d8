#include "Varnel/Refinement/SpeakerReidentifier.h"

#include "Varnel/Platform/ApplicationLog.h"
#include "Varnel/Refinement/TopScores.h"

#include <cmath>
#include <exception>
#include <span>

namespace Varnel::SpeakerReidentifier {

namespace {

constexpr std::size_t loggedScores = 5;

// A voice to compare others with. All sums are single floats, element by element: what is compared with the threshold,
// and logged, is the same on every machine.
class Query {
public:
    explicit Query(std::span<const float> embedding) : embedding_(embedding) {
        float sum = 0;
        for (const float value : embedding_)
            sum += value * value;
        norm_ = std::sqrt(sum);
    }

    std::size_t dimension() const { return embedding_.size(); }

    // Cosine; 0 beside a voice of zeros. The other must be of the same length.
    float similarity(std::span<const float> other) const {
        float dot = 0;
        float sum = 0;
        for (std::size_t i = 0; i < embedding_.size(); ++i) {
            dot += embedding_[i] * other[i];
            sum += other[i] * other[i];
        }
        const float norms = norm_ * std::sqrt(sum);
        return norms == 0 ? 0 : dot / norms;
    }

private:
    std::span<const float> embedding_;
    float norm_ = 0;
};

} // namespace

std::optional<Match> findMatch(const std::vector<float>& embedding, const std::optional<QUuid>& excludingMeetingID,
                               const ModelContext& context, float threshold,
                               const std::optional<QString>& embeddingModelDigest) {
    if (embedding.empty())
        return std::nullopt;
    const Query query(embedding);
    std::optional<Match> best;
    float bestScore = -1;
    TopScores scored(loggedScores);
    try {
        context.scanVoices({excludingMeetingID, embeddingModelDigest}, [&](const StoredVoice& voice) {
            if (voice.embedding().size() != query.dimension())
                return;
            const float similarity = query.similarity(voice.embedding());
            scored.add(similarity, [&voice] { return voice.name(); });
            if (similarity >= threshold && similarity > bestScore) {
                bestScore = similarity;
                best = Match{voice.name(), voice.colorHex(), voice.isYou(), similarity};
            }
        });
    } catch (const std::exception&) { // a store that cannot be read holds no voices
        return std::nullopt;
    }
    if (!scored.isEmpty())
        log(QStringLiteral("SpeakerReidentifier scores: ") + scored.text());
    return best;
}

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
