#include "Varnel/Models/FoldedText.h"

#include <algorithm>

namespace Varnel {

std::optional<QString> foldedIfBeyondAscii(const QString& text) {
    const auto isAscii = [](QChar unit) { return unit.unicode() < 0x80; };
    if (std::all_of(text.begin(), text.end(), isAscii)) {
        return std::nullopt;
    }
    QString folded = text.toLower();
    const auto sameAfterAscii = [](QChar from, QChar to) {
        return (from >= u'A' && from <= u'Z' ? QChar(from.unicode() + 0x20) : from) == to;
    };
    if (std::equal(text.begin(), text.end(), folded.begin(), folded.end(), sameAfterAscii)) {
        return std::nullopt;
    }
    return folded;
}

} // namespace Varnel
