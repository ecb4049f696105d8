#include "Varnel/Refinement/Export.h"

#include "Varnel/Platform/WholeFile.h"

#include <stdexcept>
#include <string>

namespace Varnel::Export {

QString fileExtension(Format format) {
    switch (format) {
    case Format::markdown:
        return QStringLiteral("md");
    case Format::json:
        return QStringLiteral("json");
    case Format::plainText:
        return QStringLiteral("txt");
    case Format::srt:
        return QStringLiteral("srt");
    }
    throw std::invalid_argument("unknown export format");
}

QString safeTitle(const QString& title) {
    static const QString forbidden = QStringLiteral("/\\?%*|\"<>:");
    QString safe = title;
    for (QChar& character : safe) {
        if (forbidden.contains(character))
            character = u'-';
    }
    return safe;
}

QString fileName(const QString& title, Format format) {
    return safeTitle(title) + u'.' + fileExtension(format);
}

void write(const QByteArray& bytes, const QString& path) {
    try {
        WholeFile file(path);
        file.write(bytes);
        file.commit();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot write '" + path.toStdString() + "': " + error.what());
    }
}

} // namespace Varnel::Export
