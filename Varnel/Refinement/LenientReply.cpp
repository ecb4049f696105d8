#include "Varnel/Refinement/LenientReply.h"

#include "Varnel/Models/JSONRecordReader.h"

#include <utility>

namespace Varnel::LenientReply {

namespace {

QList<NameMatch> decodeNames(const std::optional<QString>& json) {
    using JSONRecordReader::Presence;
    using JSONRecordReader::Type;
    const auto records =
        JSONRecordReader::read(json.value_or(QString()), {{"speakerKey", Type::text, Presence::required},
                                                          {"name", Type::text, Presence::required}});
    QList<NameMatch> matches;
    if (!records)
        return matches;
    matches.reserve(static_cast<qsizetype>(records->size()));
    for (const JSONRecordReader::Record& record : *records)
        matches.append({record[0].text.value_or(QString()), record[1].text.value_or(QString())});
    return matches;
}

// An empty list may be one that was read or one that was not: it makes no difference, for a candidate that is an empty
// list is followed by none that is a longer one.
template <typename Value>
QList<Value> firstDecoded(const QString& reply, QList<Value> (*decode)(const std::optional<QString>&)) {
    const QStringList texts = candidates(reply);
    for (const QString& text : texts) {
        if (QList<Value> values = decode(text); !values.isEmpty())
            return values;
    }
    return {};
}

} // namespace

QList<NameMatch> names(const QString& reply) {
    return firstDecoded(reply, decodeNames);
}

QList<ActionItem> actionItems(const QString& reply) {
    return firstDecoded(reply, decodeActionItems);
}

QList<Topic> topics(const QString& reply) {
    return firstDecoded(reply, decodeTopics);
}

QString withoutFences(const QString& reply) {
    static const QString fence = QStringLiteral("```");
    static const QString jsonFence = QStringLiteral("```json");
    QString text = reply.trimmed();
    if (text.startsWith(jsonFence))
        text.remove(0, jsonFence.size());
    else if (text.startsWith(fence))
        text.remove(0, fence.size());
    if (text.endsWith(fence))
        text.chop(fence.size());
    return text.trimmed();
}

QStringList candidates(const QString& reply) {
    const QString text = withoutFences(reply);
    QStringList result;
    const qsizetype first = text.indexOf(u'[');
    const qsizetype last = text.lastIndexOf(u']');
    if (first >= 0 && last > first)
        result += text.mid(first, last - first + 1);
    result += text;
    return result;
}

} // namespace Varnel::LenientReply
