#pragma once

#include "Varnel/Models/MeetingDetails.h"
#include "Varnel/Platform/Calendar.h"

#include <QDateTime>
#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace Varnel {

// Tells which calendar event belongs to a recording. Main context only.
class CalendarReader {
public:
    struct EventInfo {
        QString title; // empty when the event has none
        QDateTime startDate;
        QDateTime endDate;
        std::vector<CalendarAttendee> attendees;
    };

    // `calendar` outlives the reader.
    explicit CalendarReader(Calendar& calendar) : calendar_(calendar) {}

    // Throws std::runtime_error when the user cannot be asked.
    QCoro::Task<bool> requestAccess() { return calendar_.requestAccess(); }

    // The event that runs at `date` (of several the one that began last); else, of those that overlap the span of
    // `tolerance` on both sides, the one whose beginning is nearest. All-day events never count. None without full
    // access; never asks the user.
    std::optional<EventInfo> eventInProgress(const QDateTime& date, std::chrono::seconds tolerance) const;

private:
    Calendar& calendar_;
};

} // namespace Varnel
