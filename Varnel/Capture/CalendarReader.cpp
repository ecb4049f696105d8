#include "Varnel/Capture/CalendarReader.h"

#include <QLatin1StringView>

#include <algorithm>
#include <cstdlib>

namespace Varnel {

namespace {

std::optional<CalendarAttendee> attendee(const CalendarParticipant& participant) {
    // Producers write the scheme in either case.
    constexpr QLatin1StringView scheme("mailto:");
    CalendarAttendee result;
    result.name = participant.name.trimmed();
    if (participant.url.startsWith(scheme, Qt::CaseInsensitive))
        result.email = participant.url.mid(scheme.size());
    if (result.name.isEmpty() && result.email)
        result.name = result.email->section(u'@', 0, 0);
    if (result.name.isEmpty())
        return std::nullopt;
    return result;
}

CalendarReader::EventInfo eventInfo(const CalendarEvent& event) {
    CalendarReader::EventInfo result{event.title, event.startDate, event.endDate, {}};
    for (const CalendarParticipant& participant : event.attendees) {
        if (auto present = attendee(participant))
            result.attendees.push_back(std::move(*present));
    }
    return result;
}

} // namespace

std::optional<CalendarReader::EventInfo> CalendarReader::eventInProgress(const QDateTime& date,
                                                                         std::chrono::seconds tolerance) const {
    if (calendar_.authorizationStatus() != AuthorizationStatus::authorized)
        return std::nullopt;
    auto events = calendar_.events(date.addSecs(-tolerance.count()), date.addSecs(tolerance.count()));
    std::erase_if(events, [](const CalendarEvent& event) { return event.isAllDay; });
    if (events.empty())
        return std::nullopt;

    const auto runs = [&](const CalendarEvent& event) { return event.startDate <= date && event.endDate >= date; };
    const auto distance = [&](const CalendarEvent& event) { return std::abs(event.startDate.msecsTo(date)); };
    // A running event before any other; of those the one that began last, of the others the one that begins nearest.
    // For a running event, to have begun last is to have begun nearest.
    const auto best = std::min_element(events.begin(), events.end(), [&](const auto& left, const auto& right) {
        if (runs(left) != runs(right))
            return runs(left);
        return distance(left) < distance(right);
    });
    return eventInfo(*best);
}

} // namespace Varnel
