#include "Varnel/Platform/Linux/IniFile.h"

namespace Varnel {

namespace {

QString encoded(const QString& value) {
    const bool isPlain = value == value.trimmed() && !value.contains(u'\n') && !value.contains(u'\r') &&
                         !value.contains(u'"') && !value.contains(u'\\') && !value.contains(u'#') &&
                         !value.contains(u';');
    if (isPlain) {
        return value;
    }
    QString quoted = value;
    quoted.replace(u'\\', QStringLiteral("\\\\"));
    quoted.replace(u'"', QStringLiteral("\\\""));
    quoted.replace(u'\n', QStringLiteral("\\n"));
    quoted.replace(u'\r', QStringLiteral("\\r"));
    return u'"' + quoted + u'"';
}

// What somebody wrote by hand without quotes counts as it stands.
QString decoded(const QString& text) {
    if (text.size() < 2 || !text.startsWith(u'"') || !text.endsWith(u'"')) {
        return text;
    }
    QString value;
    for (qsizetype at = 1; at < text.size() - 1; ++at) {
        if (text.at(at) != u'\\' || at + 1 == text.size() - 1) {
            value += text.at(at);
            continue;
        }
        const QChar escaped = text.at(++at);
        value += escaped == u'n' ? QChar(u'\n') : escaped == u'r' ? QChar(u'\r') : escaped;
    }
    return value;
}

QString group(const QString& key) {
    return key.section(u'/', 0, -2);
}

QString name(const QString& key) {
    return key.section(u'/', -1);
}

std::optional<QString> groupOf(const QString& line) {
    const QString text = line.trimmed();
    if (text.startsWith(u'[') && text.endsWith(u']')) {
        return text.mid(1, text.size() - 2);
    }
    return std::nullopt;
}

} // namespace

IniFile::IniFile(const QString& text) {
    QString current;
    const QStringList lines = text.split(u'\n');
    for (qsizetype index = 0; index < lines.size(); ++index) {
        if (index == lines.size() - 1 && lines[index].isEmpty()) {
            break; // the end of the last line
        }
        if (const auto opened = groupOf(lines[index])) {
            current = *opened;
        }
        lines_.append(parsed(lines[index], current));
    }
}

IniFile::Line IniFile::parsed(const QString& text, const QString& group) {
    const QString trimmed = text.trimmed();
    const qsizetype equals = trimmed.indexOf(u'=');
    if (equals <= 0 || trimmed.startsWith(u'#') || trimmed.startsWith(u';') || trimmed.startsWith(u'[')) {
        return {text, {}};
    }
    const QString lineName = trimmed.left(equals).trimmed();
    return {text, group.isEmpty() ? lineName : group + u'/' + lineName};
}

std::optional<QString> IniFile::value(const QString& key) const {
    for (qsizetype index = lines_.size() - 1; index >= 0; --index) {
        if (lines_[index].key == key && !key.isEmpty()) {
            const QString& text = lines_[index].text;
            return decoded(text.mid(text.indexOf(u'=') + 1).trimmed());
        }
    }
    return std::nullopt;
}

void IniFile::setValue(const QString& key, const QString& value) {
    const Line line{name(key) + u'=' + encoded(value), key};
    for (qsizetype index = lines_.size() - 1; index >= 0; --index) {
        if (lines_[index].key == key) {
            lines_[index] = line;
            return;
        }
    }
    lines_.insert(endOfGroup(group(key)), line);
}

void IniFile::remove(const QString& key) {
    lines_.removeIf([&](const Line& line) { return !key.isEmpty() && line.key == key; });
}

QStringList IniFile::keys() const {
    QStringList result;
    for (const Line& line : lines_) {
        if (!line.key.isEmpty() && !result.contains(line.key)) {
            result << line.key;
        }
    }
    return result;
}

QString IniFile::text() const {
    QString result;
    for (const Line& line : lines_) {
        result += line.text + u'\n';
    }
    return result;
}

// Where a new line of the group goes; the group is made if it is absent.
qsizetype IniFile::endOfGroup(const QString& wanted) {
    bool isInGroup = wanted.isEmpty();
    for (qsizetype index = 0; index < lines_.size(); ++index) {
        if (const auto opened = groupOf(lines_[index].text)) {
            if (isInGroup) {
                return index;
            }
            isInGroup = *opened == wanted;
        }
    }
    if (!isInGroup) {
        lines_.append({u'[' + wanted + u']', {}});
    }
    return lines_.size();
}

} // namespace Varnel
