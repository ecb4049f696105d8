#include "Varnel/CommandLine/IdReference.h"

#include <algorithm>

namespace Varnel::CommandLine {

namespace {

QString withoutHyphens(QString text) {
    return text.remove(QLatin1Char('-')).toUpper();
}

bool isHexadecimal(const QString& text) {
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        return (character >= u'0' && character <= u'9') || (character >= u'A' && character <= u'F');
    });
}

} // namespace

std::optional<QString> idBeginning(const std::string& text) {
    QString beginning = withoutHyphens(QString::fromStdString(text));
    if (beginning.isEmpty() || !isHexadecimal(beginning))
        return std::nullopt;
    return beginning;
}

bool idBegins(const QUuid& id, const QString& beginning) {
    return withoutHyphens(id.toString(QUuid::WithoutBraces)).startsWith(beginning);
}

} // namespace Varnel::CommandLine
