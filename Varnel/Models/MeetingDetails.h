#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace Varnel {

// Small value records that a meeting holds as JSON text in its columns.

struct CalendarAttendee {
    QString name;
    std::optional<QString> email;

    bool operator==(const CalendarAttendee&) const = default;
};

struct ActionItem {
    QString text;
    std::optional<QString> assignee;
    std::optional<double> timestamp; // seconds in the meeting

    // For list rendering: text|assignee|timestamp (-1.0 when absent). Two identical items share it.
    QString id() const;

    bool operator==(const ActionItem&) const = default;
};

struct Topic {
    QString title;
    double startSeconds = 0;
    double endSeconds = 0;

    // For list rendering: title|startSeconds.
    QString id() const;

    bool operator==(const Topic&) const = default;
};

// Compact JSON, keys in the order of the fields; an absent optional has no key; an empty list is "[]".
// None when the values cannot be encoded (a time that is not finite).
std::optional<QString> encode(const QList<CalendarAttendee>& values);
std::optional<QString> encode(const QList<ActionItem>& values);
std::optional<QString> encode(const QList<Topic>& values);

// Tolerant and silent: absent, damaged or foreign JSON is an empty list. Unknown keys are ignored.
QList<CalendarAttendee> decodeCalendarAttendees(const std::optional<QString>& json);
QList<ActionItem> decodeActionItems(const std::optional<QString>& json);
QList<Topic> decodeTopics(const std::optional<QString>& json);

} // namespace Varnel
