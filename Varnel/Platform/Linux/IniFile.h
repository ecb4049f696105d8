#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace Varnel {

// The text of a settings file: "key=value" lines in groups of a "[name]" line each. Everything else (comments, damaged
// lines, what later versions wrote) is kept as it stands. The key "group/name" is the line "name" in the group; a key
// without a slash stands before the first group. Of a repeated key the last line counts.
//
// Values are UTF-8. One that a line could not hold as it is (line ends, blanks at its ends, quotes, "#", ";") is
// written in double quotes with \n, \r, \\ and \".
class IniFile {
public:
    explicit IniFile(const QString& text);

    std::optional<QString> value(const QString& key) const;
    void setValue(const QString& key, const QString& value);
    void remove(const QString& key);
    QStringList keys() const; // in the order of the lines
    QString text() const;

private:
    struct Line {
        QString text;
        QString key; // empty for a line that is none of ours
    };

    static Line parsed(const QString& text, const QString& group);
    qsizetype endOfGroup(const QString& group);

    QList<Line> lines_;
};

} // namespace Varnel
