#pragma once

#include <QString>

#include <string>
#include <string_view>
#include <vector>

namespace Varnel {

// What is looked for: trimmed of blanks and tabs and lower-cased, as UTF-8.
class SearchQuery {
public:
    explicit SearchQuery(const QString& typed);

    bool isEmpty() const { return needle_.empty(); }

    // Whether a text holds it. `folded` is the text's lower-cased form where that is not simply its ASCII letters
    // lower-cased, and null elsewhere (see foldedIfBeyondAscii).
    bool isIn(std::string_view text, std::string_view folded) const;

    // The distinct trigrams, at most `mostTrigrams` of them evenly spread; none for less than three characters. Every
    // text with a hit holds them all.
    const std::vector<std::string>& trigrams() const { return trigrams_; }

    // Adds 1 for each trigram that the text holds.
    void countTrigrams(std::string_view text, std::string_view folded, std::vector<int>& counts) const;

    static constexpr std::size_t mostTrigrams = 32;

private:
    std::string needle_;
    std::vector<std::string> trigrams_;
};

} // namespace Varnel
