#include "Varnel/Models/MeetingDetails.h"

#include "Varnel/Models/DecimalForm.h"
#include "Varnel/Models/JSONRecordReader.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace Varnel {

namespace {

// A JSON string, non-ASCII as it is.
QString quoted(const QString& text) {
    return QString::fromStdString(
        nlohmann::json(text.toStdString()).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

// "key":value members without blanks, in the order of the calls.
class ObjectWriter {
public:
    void text(const char* key, const std::optional<QString>& value) {
        if (value) {
            add(key, quoted(*value));
        }
    }

    void number(const char* key, const std::optional<double>& value) {
        if (value) {
            isEncodable_ = isEncodable_ && std::isfinite(*value);
            add(key, isEncodable_ ? jsonNumber(*value) : QString());
        }
    }

    // None if a number was not finite.
    std::optional<QString> object() const {
        return isEncodable_ ? std::optional(u'{' + members_ + u'}') : std::nullopt;
    }

private:
    void add(const char* key, const QString& value) {
        members_ += (members_.isEmpty() ? "\"" : ",\"") + QString::fromLatin1(key) + "\":" + value;
    }

    QString members_;
    bool isEncodable_ = true;
};

template <typename Value, typename Write>
std::optional<QString> encodeList(const QList<Value>& values, Write write) {
    QString array;
    for (const Value& value : values) {
        ObjectWriter writer;
        write(writer, value);
        const auto object = writer.object();
        if (!object) {
            return std::nullopt;
        }
        array += (array.isEmpty() ? QString() : QStringLiteral(",")) + *object;
    }
    return u'[' + array + u']';
}

template <typename Value>
QList<Value> decodeList(const std::optional<QString>& json, const JSONRecordReader::Fields& fields,
                        Value (*make)(const JSONRecordReader::Record&)) {
    QList<Value> result;
    if (!json) {
        return result;
    }
    const auto records = JSONRecordReader::read(*json, fields);
    if (!records) {
        return result;
    }
    result.reserve(static_cast<qsizetype>(records->size()));
    for (const auto& record : *records) {
        result.append(make(record));
    }
    return result;
}

} // namespace

QString ActionItem::id() const {
    return text + u'|' + assignee.value_or(QString()) + u'|' + decimalForm(timestamp.value_or(-1.0));
}

QString Topic::id() const {
    return title + u'|' + decimalForm(startSeconds);
}

std::optional<QString> encode(const QList<CalendarAttendee>& values) {
    return encodeList(values, [](ObjectWriter& writer, const CalendarAttendee& attendee) {
        writer.text("name", attendee.name);
        writer.text("email", attendee.email);
    });
}

std::optional<QString> encode(const QList<ActionItem>& values) {
    return encodeList(values, [](ObjectWriter& writer, const ActionItem& item) {
        writer.text("text", item.text);
        writer.text("assignee", item.assignee);
        writer.number("timestamp", item.timestamp);
    });
}

std::optional<QString> encode(const QList<Topic>& values) {
    return encodeList(values, [](ObjectWriter& writer, const Topic& topic) {
        writer.text("title", topic.title);
        writer.number("startSeconds", topic.startSeconds);
        writer.number("endSeconds", topic.endSeconds);
    });
}

QList<CalendarAttendee> decodeCalendarAttendees(const std::optional<QString>& json) {
    namespace Reader = JSONRecordReader;
    return decodeList<CalendarAttendee>(json,
                                        {{"name", Reader::Type::text, Reader::Presence::required},
                                         {"email", Reader::Type::text, Reader::Presence::optional}},
                                        [](const Reader::Record& record) {
                                            return CalendarAttendee{record[0].text.value_or(QString()), record[1].text};
                                        });
}

QList<ActionItem> decodeActionItems(const std::optional<QString>& json) {
    namespace Reader = JSONRecordReader;
    return decodeList<ActionItem>(
        json,
        {{"text", Reader::Type::text, Reader::Presence::required},
         {"assignee", Reader::Type::text, Reader::Presence::optional},
         {"timestamp", Reader::Type::number, Reader::Presence::optional}},
        [](const Reader::Record& record) {
            return ActionItem{record[0].text.value_or(QString()), record[1].text, record[2].number};
        });
}

QList<Topic> decodeTopics(const std::optional<QString>& json) {
    namespace Reader = JSONRecordReader;
    return decodeList<Topic>(json,
                             {{"title", Reader::Type::text, Reader::Presence::required},
                              {"startSeconds", Reader::Type::number, Reader::Presence::required},
                              {"endSeconds", Reader::Type::number, Reader::Presence::required}},
                             [](const Reader::Record& record) {
                                 return Topic{record[0].text.value_or(QString()), record[1].number.value_or(0),
                                              record[2].number.value_or(0)};
                             });
}

} // namespace Varnel
