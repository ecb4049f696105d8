#include "VarnelSpeech/Diarizer/Speaker.h"

#include "VarnelSpeech/Diarizer/EmbeddingMath.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace VarnelSpeech {

namespace {

bool isTooFaint(std::span<const float> embedding) {
    return !(sumOfSquares(embedding) > Speaker::minimumSumOfSquares); // NaN is too faint
}

// Counts come from outside, too: no overflow.
std::int64_t saturatedSum(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        return b < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    }
    return sum;
}

// The oldest leave a history that is too long.
void keepLast(std::vector<RawEmbedding>& history, std::size_t count) {
    if (history.size() > count) {
        history.erase(history.begin(), history.end() - static_cast<std::ptrdiff_t>(count));
    }
}

} // namespace

Speaker::Speaker(std::span<const float> embedding, std::optional<std::string> id, std::optional<std::string> name,
                 float duration, Date createdAt)
    : id_(id ? std::move(*id) : UUID::fresh().text()),
      name_(name ? std::move(*name) : id_),
      currentEmbedding_(l2Normalized(embedding)),
      duration_(duration),
      createdAt_(createdAt),
      updatedAt_(createdAt) {}

Speaker::Speaker(SpeakerFields fields, Date now)
    : id_(std::move(fields.id)), createdAt_(fields.createdAt.value_or(now)), updatedAt_(now) {
    replaceFields(std::move(fields), now);
}

void Speaker::addDuration(float seconds, Date now) {
    duration_ += seconds;
    updatedAt_ = now;
}

void Speaker::updateMainEmbedding(std::span<const float> embedding, const UUID& segmentId, float seconds, Date now,
                                  float alpha) {
    if (isTooFaint(embedding)) {
        return;
    }
    const std::vector<float> unit = l2Normalized(embedding);
    addRawEmbedding(RawEmbedding(segmentId, unit, now), now);
    blend(unit, alpha);
    addDuration(seconds, now);
    updateCount_ = saturatedSum(updateCount_, 1);
}

void Speaker::blend(std::span<const float> unitEmbedding, float alpha) {
    if (currentEmbedding_.size() != unitEmbedding.size()) {
        return;
    }
    for (std::size_t i = 0; i < currentEmbedding_.size(); ++i) {
        currentEmbedding_[i] = currentEmbedding_[i] * alpha + (1.0F - alpha) * unitEmbedding[i];
    }
    l2Normalize(currentEmbedding_);
}

void Speaker::addRawEmbedding(RawEmbedding raw, Date now) {
    if (isTooFaint(raw.embedding)) {
        return;
    }
    if (rawEmbeddings_.size() >= maximumRawEmbeddings) {
        // By its time: after a merge the history may run from new to old.
        rawEmbeddings_.erase(std::min_element(rawEmbeddings_.begin(), rawEmbeddings_.end(),
                                              [](const auto& a, const auto& b) { return a.timestamp < b.timestamp; }));
    }
    rawEmbeddings_.push_back(std::move(raw));
    recalculateMainEmbedding(now);
}

std::optional<RawEmbedding> Speaker::removeRawEmbedding(const UUID& segmentId, Date now) {
    const auto found = std::find_if(rawEmbeddings_.begin(), rawEmbeddings_.end(),
                                    [&](const RawEmbedding& raw) { return raw.segmentId == segmentId; });
    if (found == rawEmbeddings_.end()) {
        return std::nullopt;
    }
    RawEmbedding removed = std::move(*found);
    rawEmbeddings_.erase(found);
    recalculateMainEmbedding(now);
    return removed;
}

void Speaker::recalculateMainEmbedding(Date now) {
    std::array<std::span<const float>, maximumRawEmbeddings> vectors;
    std::transform(rawEmbeddings_.begin(), rawEmbeddings_.end(), vectors.begin(),
                   [](const RawEmbedding& raw) { return std::span<const float>(raw.embedding); });
    if (normalizedMean(std::span(vectors).first(rawEmbeddings_.size()), currentEmbedding_)) {
        updatedAt_ = now;
    }
}

void Speaker::mergeWith(const Speaker& other, const std::optional<std::string>& newName, Date now) {
    rawEmbeddings_ = mergedHistory(rawEmbeddings_, other.rawEmbeddings_, maximumRawEmbeddings);
    duration_ += other.duration_;
    if (newName) {
        name_ = *newName;
    }
    recalculateMainEmbedding(now);
    updatedAt_ = now;
    updateCount_ = saturatedSum(updateCount_, other.updateCount_);
}

void Speaker::replaceFields(SpeakerFields fields, Date now) {
    name_ = std::move(fields.name);
    currentEmbedding_ = std::move(fields.currentEmbedding);
    l2Normalize(currentEmbedding_);
    duration_ = fields.duration;
    rawEmbeddings_ = std::move(fields.rawEmbeddings);
    keepLast(rawEmbeddings_, maximumRawEmbeddings);
    updateCount_ = fields.updateCount;
    updatedAt_ = fields.updatedAt.value_or(now);
    isPermanent_ = isPermanent_ || fields.isPermanent;
}

} // namespace VarnelSpeech
