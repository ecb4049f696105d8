#pragma once

#include "Varnel/Platform/AuthorizationStatus.h"

#include <QCoroTask>
#include <QDateTime>
#include <QString>

#include <vector>

namespace Varnel {

struct CalendarParticipant {
    QString name; // as it stands in the calendar, or empty
    QString url;  // such as "mailto:ann@example.org", or empty

    bool operator==(const CalendarParticipant&) const = default;
};

// One occurrence of an event.
struct CalendarEvent {
    QString title; // empty when it has none
    QDateTime startDate;
    QDateTime endDate;
    bool isAllDay = false;
    std::vector<CalendarParticipant> attendees; // in the event's order
};

// The user's calendars, read only. Main context only.
class Calendar {
public:
    virtual ~Calendar() = default;

    virtual AuthorizationStatus authorizationStatus() const = 0;
    // May ask the user. Throws std::runtime_error when it cannot.
    virtual QCoro::Task<bool> requestAccess() = 0;

    // Every occurrence that overlaps the window, recurrences expanded; what cannot be read is left out. Never throws.
    virtual std::vector<CalendarEvent> events(const QDateTime& from, const QDateTime& to) const = 0;
};

} // namespace Varnel
