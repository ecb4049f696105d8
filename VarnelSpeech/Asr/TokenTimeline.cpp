#include "VarnelSpeech/Asr/TokenTimeline.h"

#include <algorithm>

namespace VarnelSpeech {

namespace {

bool isEarlier(const TokenWindow& first, const TokenWindow& second) {
    return first.timestamp < second.timestamp;
}

} // namespace

void TokenTimeline::append(const TokenWindow& token) {
    const bool isSorted = sortedLength_ == tokens_.size();
    if (isSorted && (tokens_.empty() || !isEarlier(token, tokens_.back()))) {
        sortedLength_ += 1;
    }
    latest_.push_back(latest_.empty() ? token.timestamp : std::max(latest_.back(), token.timestamp));
    tokens_.push_back(token);
}

void TokenTimeline::append(const std::vector<TokenWindow>& tokens) {
    for (const TokenWindow& token : tokens) {
        append(token);
    }
}

void TokenTimeline::truncate(std::size_t size) {
    tokens_.resize(std::min(size, tokens_.size()));
    latest_.resize(tokens_.size());
    sortedLength_ = std::min(sortedLength_, tokens_.size());
}

std::vector<TokenWindow> TokenTimeline::takeFrom(std::size_t place) {
    std::vector<TokenWindow> taken(tokens_.begin() + static_cast<std::ptrdiff_t>(place), tokens_.end());
    truncate(place);
    return taken;
}

void TokenTimeline::sort() {
    if (sortedLength_ == tokens_.size()) {
        return;
    }
    // What is in order and not later than the earliest of the rest stays where it is.
    const auto rest = tokens_.begin() + static_cast<std::ptrdiff_t>(sortedLength_);
    const auto earliest = std::min_element(rest, tokens_.end(), isEarlier);
    const auto begin = std::upper_bound(tokens_.begin(), rest, *earliest, isEarlier);
    std::stable_sort(begin, tokens_.end(), isEarlier);
    for (auto place = begin; place != tokens_.end(); ++place) {
        latest_[static_cast<std::size_t>(place - tokens_.begin())] = place->timestamp;
    }
    sortedLength_ = tokens_.size();
}

} // namespace VarnelSpeech
