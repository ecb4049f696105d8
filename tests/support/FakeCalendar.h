#pragma once

#include "Varnel/Platform/Calendar.h"

#include <optional>
#include <stdexcept>
#include <utility>

namespace Varnel::Testing {

// A calendar of the test's events.
class FakeCalendar final : public Calendar {
public:
    AuthorizationStatus authorizationStatus() const override { return status; }

    QCoro::Task<bool> requestAccess() override {
        if (!accessAnswer)
            throw std::runtime_error("no calendar service");
        co_return *accessAnswer;
    }

    std::vector<CalendarEvent> events(const QDateTime& from, const QDateTime& to) const override {
        queried.emplace_back(from, to);
        std::vector<CalendarEvent> result;
        for (const CalendarEvent& event : all) {
            if (event.startDate <= to && event.endDate >= from)
                result.push_back(event);
        }
        return result;
    }

    AuthorizationStatus status = AuthorizationStatus::authorized;
    std::optional<bool> accessAnswer = true; // none: the user cannot be asked
    std::vector<CalendarEvent> all;
    mutable std::vector<std::pair<QDateTime, QDateTime>> queried;
};

} // namespace Varnel::Testing
