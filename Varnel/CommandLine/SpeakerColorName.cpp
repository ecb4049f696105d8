#include "Varnel/CommandLine/SpeakerColorName.h"

#include "Varnel/Models/SpeakerColors.h"

#include <QRegularExpression>

namespace Varnel::CommandLine {

namespace {

// In the order of the palette.
constexpr std::array names{"pink", "green", "amber", "violet", "red", "sky", "teal"};
static_assert(names.size() == speakerPalette.size());
constexpr const char* yourColorName = "blue";

} // namespace

std::optional<QString> speakerColorNamed(const std::string& text) {
    static const QRegularExpression hexadecimal(QRegularExpression::anchoredPattern(QStringLiteral("#[0-9A-Fa-f]{6}")));
    const QString written = QString::fromStdString(text);
    if (hexadecimal.match(written).hasMatch())
        return written.toUpper();
    const std::string lower = written.toLower().toStdString();
    for (std::size_t i = 0; i < names.size(); ++i)
        if (lower == names[i])
            return QString::fromLatin1(speakerPalette[i]);
    if (lower == yourColorName)
        return QString::fromLatin1(yourColor);
    return std::nullopt;
}

std::string speakerColorNames() {
    std::string text;
    for (const char* name : names)
        text += std::string(name) + ", ";
    return text + yourColorName;
}

} // namespace Varnel::CommandLine
