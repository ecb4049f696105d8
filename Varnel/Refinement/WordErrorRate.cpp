#include "Varnel/Refinement/WordErrorRate.h"

#include <QHash>

#include <algorithm>
#include <utility>
#include <vector>

namespace Varnel {

namespace {

// The cheapest way to one cell of the distance table.
struct Path {
    std::size_t substitutions = 0;
    std::size_t deletions = 0;
    std::size_t insertions = 0;

    std::size_t cost() const { return substitutions + deletions + insertions; }
};

std::vector<int> numbered(const QStringList& words, QHash<QString, int>& numbers) {
    std::vector<int> result;
    result.reserve(static_cast<std::size_t>(words.size()));
    for (const QString& word : words) {
        const auto found = numbers.constFind(word);
        result.push_back(found != numbers.constEnd() ? *found
                                                     : *numbers.insert(word, static_cast<int>(numbers.size())));
    }
    return result;
}

bool isWordCharacter(char32_t character) {
    return QChar::isLetterOrNumber(character) || QChar::isMark(character);
}

} // namespace

double WordErrorRate::percent() const {
    if (referenceWords == 0)
        return hypothesisWords == 0 ? 0.0 : 100.0;
    return 100.0 * static_cast<double>(errors()) / static_cast<double>(referenceWords);
}

WordErrorRate WordErrorRate::of(const QStringList& reference, const QStringList& hypothesis) {
    QHash<QString, int> numbers;
    const std::vector<int> expected = numbered(reference, numbers);
    const std::vector<int> heard = numbered(hypothesis, numbers);

    // One row of the table at a time: row[j] is the best way from the reference's words so far to the first j heard.
    std::vector<Path> row(heard.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j].insertions = j;
    for (const int word : expected) {
        Path diagonal = row[0];
        ++row[0].deletions;
        for (std::size_t j = 1; j < row.size(); ++j) {
            Path best = diagonal;
            if (heard[j - 1] != word)
                ++best.substitutions;
            if (row[j].cost() + 1 < best.cost()) {
                best = row[j];
                ++best.deletions;
            }
            if (row[j - 1].cost() + 1 < best.cost()) {
                best = row[j - 1];
                ++best.insertions;
            }
            diagonal = std::exchange(row[j], best);
        }
    }
    const Path& path = row.back();
    return {expected.size(), heard.size(), path.substitutions, path.deletions, path.insertions};
}

WordErrorRate WordErrorRate::of(const QString& reference, const QString& hypothesis) {
    return of(wordsForScoring(reference), wordsForScoring(hypothesis));
}

QStringList wordsForScoring(const QString& text) {
    const QList<uint> characters = text.normalized(QString::NormalizationForm_C).toCaseFolded().toUcs4();
    QStringList words;
    QList<uint> word;
    const auto endWord = [&] {
        if (!word.isEmpty())
            words << QString::fromUcs4(reinterpret_cast<const char32_t*>(word.constData()), word.size());
        word.clear();
    };
    for (qsizetype i = 0; i < characters.size(); ++i) {
        const char32_t character = characters[i];
        const bool apostrophe = character == U'\'' || character == U'\u2019';
        if (isWordCharacter(character))
            word << character;
        else if (apostrophe && !word.isEmpty() && i + 1 < characters.size() && isWordCharacter(characters[i + 1]))
            word << U'\'';
        else
            endWord();
    }
    endWord();
    return words;
}

} // namespace Varnel
