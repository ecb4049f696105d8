#include "Varnel/Refinement/TrimmedText.h"

namespace Varnel {

namespace {

bool isBlank(QChar character) {
    return character == u'\t' || character.category() == QChar::Separator_Space;
}

} // namespace

QString trimmedOfBlanks(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace Varnel
