#include "Varnel/Models/StorableText.h"

namespace Varnel {

QString storable(QString text) {
    if (text.isValidUtf16() && !text.contains(QChar(u'\0'))) {
        return text;
    }
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar unit = text.at(at);
        if (unit.isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate()) {
            ++at;
        } else if (unit.isSurrogate() || unit.isNull()) {
            text[at] = QChar(QChar::ReplacementCharacter);
        }
    }
    return text;
}

std::optional<QString> storable(std::optional<QString> text) {
    if (!text) {
        return std::nullopt;
    }
    return storable(*std::move(text));
}

} // namespace Varnel
