#pragma once

#include <QString>
#include <QStringList>

#include <cstddef>

namespace Varnel {

// How far a hypothesis is from a reference, in words: the least number of substitutions, deletions and insertions
// that turn the one into the other (Levenshtein distance over words).
struct WordErrorRate {
    std::size_t referenceWords = 0;
    std::size_t hypothesisWords = 0;
    std::size_t substitutions = 0;
    std::size_t deletions = 0;  // words of the reference that the hypothesis lacks
    std::size_t insertions = 0; // words of the hypothesis that the reference lacks

    std::size_t errors() const { return substitutions + deletions + insertions; }

    // Errors in percent of the reference's words; may pass 100. An empty reference: 0 for an empty hypothesis, else
    // 100, since there is nothing to divide by.
    double percent() const;

    bool operator==(const WordErrorRate&) const = default;

    // Of several ways with the same number of errors a match or a substitution is taken before a deletion, and that
    // before an insertion. Time is the product of the two lengths, memory the length of the hypothesis.
    static WordErrorRate of(const QStringList& reference, const QStringList& hypothesis);
    static WordErrorRate of(const QString& reference, const QString& hypothesis);
};

// The words that count: composed, case folded, split at whatever is neither a letter, a digit nor a mark. An
// apostrophe between two letters belongs to its word; both forms of it are the same.
QStringList wordsForScoring(const QString& text);

} // namespace Varnel
