#include "Varnel/Capture/CalendarReader.h"

#include "support/EventLoop.h"
#include "support/FakeCalendar.h"

#include <gtest/gtest.h>

#include <string>

namespace Varnel {

using namespace std::chrono_literals;
using Testing::FakeCalendar;

namespace {

QDateTime at(int hour, int minute) {
    return {QDate(2026, 3, 9), QTime(hour, minute), Qt::UTC};
}

CalendarEvent event(const QString& title, const QDateTime& from, const QDateTime& to) {
    return {title, from, to, false, {}};
}

CalendarEvent allDay(const QString& title) {
    return {title, at(0, 0), at(23, 59), true, {}};
}

} // namespace

class CalendarReaderTest : public ::testing::Test {
protected:
    // The event's title at that time; a note if there is none.
    QString titleAt(const QDateTime& date) const {
        const auto found = reader.eventInProgress(date, 900s);
        return found ? found->title : "(none)";
    }

    std::vector<CalendarAttendee> attendeesOf(std::vector<CalendarParticipant> participants) {
        calendar.all = {event("Meeting", at(10, 0), at(11, 0))};
        calendar.all[0].attendees = std::move(participants);
        return reader.eventInProgress(at(10, 30), 900s).value().attendees;
    }

    FakeCalendar calendar;
    CalendarReader reader = CalendarReader(calendar);
};

TEST_F(CalendarReaderTest, FindsTheEventThatRuns) {
    calendar.all = {event("Weekly", at(10, 0), at(11, 0))};
    const auto found = reader.eventInProgress(at(10, 30), 900s);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->title, "Weekly");
    EXPECT_EQ(found->startDate, at(10, 0));
    EXPECT_EQ(found->endDate, at(11, 0));
    EXPECT_TRUE(found->attendees.empty());
}

TEST_F(CalendarReaderTest, LooksAtTheToleranceOnBothSides) {
    reader.eventInProgress(at(10, 30), 900s);
    ASSERT_EQ(calendar.queried.size(), 1U);
    EXPECT_EQ(calendar.queried[0], std::pair(at(10, 15), at(10, 45)));
}

TEST_F(CalendarReaderTest, AnEventRunsFromItsFirstMomentToItsLast) {
    calendar.all = {event("Near", at(10, 1), at(10, 2)), event("Long", at(9, 0), at(10, 0))};
    EXPECT_EQ(titleAt(at(10, 0)), "Long");
    calendar.all = {event("Long", at(9, 0), at(11, 0)), event("Ten", at(10, 0), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 0)), "Ten");
}

TEST_F(CalendarReaderTest, OfRunningEventsTheOneThatBeganLastWins) {
    calendar.all = {event("Ten", at(10, 0), at(11, 0)), event("Quarter past", at(10, 15), at(11, 0)),
                    event("Nine", at(9, 0), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 20)), "Quarter past");
}

TEST_F(CalendarReaderTest, ARunningEventGoesBeforeANearerOne) {
    calendar.all = {event("Next", at(10, 25), at(11, 0)), event("Running", at(9, 0), at(10, 30))};
    EXPECT_EQ(titleAt(at(10, 20)), "Running");
}

TEST_F(CalendarReaderTest, FindsAnEventThatIsAboutToBegin) {
    calendar.all = {event("Soon", at(10, 10), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 0)), "Soon");
    EXPECT_EQ(titleAt(at(9, 50)), "(none)");
}

TEST_F(CalendarReaderTest, FindsAnEventThatJustEnded) {
    calendar.all = {event("Over", at(9, 0), at(9, 55))};
    EXPECT_EQ(titleAt(at(10, 0)), "Over");
    EXPECT_EQ(titleAt(at(10, 11)), "(none)");
}

TEST_F(CalendarReaderTest, OfOthersTheOneThatBeginsNearestWins) {
    calendar.all = {event("Over", at(9, 52), at(9, 55)), event("Soon", at(10, 10), at(11, 0)),
                    event("Later", at(10, 12), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 0)), "Over");
    EXPECT_EQ(titleAt(at(10, 2)), "Soon");
}

TEST_F(CalendarReaderTest, OfEqualsTheCalendarsOrderDecides) {
    calendar.all = {event("First", at(10, 0), at(11, 0)), event("Second", at(10, 0), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 30)), "First");
    calendar.all = {event("Over", at(9, 55), at(9, 58)), event("Soon", at(10, 5), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 0)), "Over");
}

TEST_F(CalendarReaderTest, AllDayEventsNeverCount) {
    calendar.all = {allDay("Holiday")};
    EXPECT_EQ(titleAt(at(10, 0)), "(none)");
    EXPECT_EQ(titleAt(at(0, 5)), "(none)");
    calendar.all.push_back(event("Soon", at(10, 10), at(11, 0)));
    EXPECT_EQ(titleAt(at(10, 0)), "Soon");
}

TEST_F(CalendarReaderTest, AnEmptyCalendarGivesNone) {
    EXPECT_EQ(titleAt(at(10, 0)), "(none)");
}

TEST_F(CalendarReaderTest, AnEventWithoutATitleHasAnEmptyOne) {
    calendar.all = {event("", at(10, 0), at(11, 0))};
    EXPECT_EQ(titleAt(at(10, 30)), "");
}

TEST_F(CalendarReaderTest, ComparesMomentsAcrossTimeZones) {
    const QDateTime local(QDate(2026, 3, 9), QTime(12, 30), Qt::OffsetFromUTC, 2 * 3600);
    calendar.all = {event("Weekly", at(10, 0), at(11, 0))};
    EXPECT_EQ(titleAt(local), "Weekly");
}

TEST_F(CalendarReaderTest, LooksAtNothingWithoutFullAccess) {
    calendar.all = {event("Weekly", at(10, 0), at(11, 0))};
    for (const int status : {0, 1, 2, 4, 5, -1}) {
        calendar.status = static_cast<AuthorizationStatus>(status);
        EXPECT_EQ(titleAt(at(10, 30)), "(none)") << status;
    }
    EXPECT_TRUE(calendar.queried.empty());
}

TEST_F(CalendarReaderTest, AttendeesKeepTheEventsOrder) {
    EXPECT_EQ(attendeesOf({{"Zoe", "mailto:zoe@example.org"}, {" Ann\n", ""}, {"Bo", "https://example.org/bo"}}),
              (std::vector<CalendarAttendee>{{"Zoe", "zoe@example.org"}, {"Ann", {}}, {"Bo", {}}}));
}

TEST_F(CalendarReaderTest, ABlankNameIsTakenFromTheAddress) {
    EXPECT_EQ(
        attendeesOf({{" \t\n", "mailto:ann.lee@example.org"}, {"", "MAILTO:bo@x@example.org"}, {"", "mailto:carl"}}),
        (std::vector<CalendarAttendee>{
            {"ann.lee", "ann.lee@example.org"}, {"bo", "bo@x@example.org"}, {"carl", "carl"}}));
}

TEST_F(CalendarReaderTest, AnAttendeeWithoutANameOrAnAddressIsLeftOut) {
    EXPECT_TRUE(attendeesOf({{"", ""},
                             {" ", "https://example.org/ann"},
                             {"", "ann@example.org"},
                             {"", "mailto:"},
                             {"", "mailto:@example.org"}})
                    .empty());
}

TEST_F(CalendarReaderTest, PassesOnWhatTheUserAnswers) {
    EXPECT_TRUE(QCoro::waitFor(reader.requestAccess()));
    calendar.accessAnswer = false;
    EXPECT_FALSE(QCoro::waitFor(reader.requestAccess()));
}

TEST_F(CalendarReaderTest, SaysThatTheUserCannotBeAsked) {
    calendar.accessAnswer.reset();
    std::string outcome;
    const auto ask = [](CalendarReader& asked, std::string& text) -> QCoro::Task<> {
        try {
            co_await asked.requestAccess();
        } catch (const std::runtime_error& error) {
            text = error.what();
        }
    };
    ask(reader, outcome);
    EXPECT_EQ(outcome, "no calendar service");
}

} // namespace Varnel
