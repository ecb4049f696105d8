#pragma once

#include "VarnelSpeech/Asr/TokenWindow.h"

#include <cstddef>
#include <vector>

namespace VarnelSpeech {

// A growing list of tokens that is nearly in order of time. It keeps the latest timestamp up to each place, and how
// far its beginning is in order, so that questions about its end and sorting cost no more than its end.
class TokenTimeline {
public:
    const std::vector<TokenWindow>& tokens() const { return tokens_; }

    std::size_t size() const { return tokens_.size(); }

    bool empty() const { return tokens_.empty(); }

    void append(const TokenWindow& token);
    void append(const std::vector<TokenWindow>& tokens);
    void truncate(std::size_t size);

    // The tokens from `place` on are taken off the list and returned.
    std::vector<TokenWindow> takeFrom(std::size_t place);

    // The first place before which `isLate(timestamp)` holds for no token. `isLate` must hold for every timestamp
    // above one for which it holds.
    template <typename Predicate>
    std::size_t beginOfLate(Predicate isLate) const {
        std::size_t place = latest_.size();
        while (place > 0 && isLate(latest_[place - 1])) {
            --place;
        }
        return place;
    }

    // Ascending by timestamp; tokens of the same timestamp keep their order.
    void sort();

private:
    std::vector<TokenWindow> tokens_;
    std::vector<int> latest_;      // latest_[i]: the latest timestamp of tokens_[0...i]
    std::size_t sortedLength_ = 0; // tokens_[0..<sortedLength_] is in order
};

} // namespace VarnelSpeech
