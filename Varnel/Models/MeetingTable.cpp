#include "Varnel/Models/MeetingTable.h"

#include "Varnel/Models/ColumnUpdate.h"
#include "Varnel/Models/FoldedText.h"
#include "Varnel/Models/Meeting.h"

#include <SQLiteCpp/Database.h>

#include <cmath>
#include <limits>

namespace Varnel {

namespace {

// Seconds since the epoch; an invalid date is not a number.
double seconds(const QDateTime& date) {
    return date.isValid() ? static_cast<double>(date.toMSecsSinceEpoch()) / 1000
                          : std::numeric_limits<double>::quiet_NaN();
}

QDateTime date(double seconds) {
    // The range in which a double counts milliseconds one by one.
    constexpr double limit = 9.0e12;
    return std::isfinite(seconds) && std::abs(seconds) < limit
               ? QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000), Qt::UTC)
               : QDateTime();
}

std::optional<QString> folded(const std::optional<QString>& text) {
    return text ? foldedIfBeyondAscii(*text) : std::nullopt;
}

} // namespace

const char* MeetingTable::selection() {
    return "SELECT row, id, title, startedAt, duration, sourceApp, audioFilePath, systemAudioFilePath, summary, "
           "actionItemsJSON, topicsJSON, calendarEventTitle, calendarAttendeesJSON FROM meetings ";
}

std::shared_ptr<Meeting> MeetingTable::record(const StoreStatement& statement) {
    auto meeting = std::make_shared<Meeting>(statement.uuid(1), QString(), QDateTime());
    read(statement, *meeting, 0);
    return meeting;
}

void MeetingTable::read(const StoreStatement& statement, Meeting& meeting, std::uint32_t keep) {
    const auto wanted = [keep](Meeting::Column column) { return (keep & column) == 0; };
    if (wanted(Meeting::titleColumn)) {
        meeting.title_ = statement.text(2);
    }
    if (wanted(Meeting::startedAtColumn)) {
        meeting.startedAt_ = date(statement.real(3));
    }
    if (wanted(Meeting::durationColumn)) {
        meeting.duration_ = statement.real(4);
    }
    const auto readText = [&](std::optional<QString>& field, int index, Meeting::Column column) {
        if (wanted(column)) {
            field = statement.optionalText(index);
        }
    };
    readText(meeting.sourceApp_, 5, Meeting::sourceAppColumn);
    readText(meeting.audioFilePath_, 6, Meeting::audioFilePathColumn);
    readText(meeting.systemAudioFilePath_, 7, Meeting::systemAudioFilePathColumn);
    readText(meeting.summary_, 8, Meeting::summaryColumn);
    readText(meeting.actionItemsJSON_, 9, Meeting::actionItemsColumn);
    readText(meeting.topicsJSON_, 10, Meeting::topicsColumn);
    readText(meeting.calendarEventTitle_, 11, Meeting::calendarEventTitleColumn);
    readText(meeting.calendarAttendeesJSON_, 12, Meeting::calendarAttendeesColumn);
}

std::int64_t MeetingTable::insert(const Meeting& meeting) {
    StoreStatement(connection_,
                   "INSERT INTO meetings(id, title, titleFolded, startedAt, duration, sourceApp, sourceAppFolded, "
                   "audioFilePath, systemAudioFilePath, summary, actionItemsJSON, topicsJSON, calendarEventTitle, "
                   "calendarAttendeesJSON) VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?)")
        .bind(meeting.id_)
        .bind(meeting.title_)
        .bind(foldedIfBeyondAscii(meeting.title_))
        .bind(seconds(meeting.startedAt_))
        .bind(meeting.duration_)
        .bind(meeting.sourceApp_)
        .bind(folded(meeting.sourceApp_))
        .bind(meeting.audioFilePath_)
        .bind(meeting.systemAudioFilePath_)
        .bind(meeting.summary_)
        .bind(meeting.actionItemsJSON_)
        .bind(meeting.topicsJSON_)
        .bind(meeting.calendarEventTitle_)
        .bind(meeting.calendarAttendeesJSON_)
        .run();
    const std::int64_t row = connection_.database().getLastInsertRowid();
    index_.addMeeting(row);
    return row;
}

void MeetingTable::update(const Meeting& meeting, std::uint32_t columns) {
    const bool changesIndex = (columns & (Meeting::titleColumn | Meeting::sourceAppColumn)) != 0;
    if (changesIndex) {
        index_.takeOutMeeting(meeting.rowId_);
    }
    const auto bind = [](const auto& value) { return [&value](StoreStatement& statement) { statement.bind(value); }; };
    updateColumns(
        connection_, "meetings", meeting.rowId_, columns,
        {
            {Meeting::titleColumn, "title=?, titleFolded=?",
             [&](StoreStatement& statement) {
                 statement.bind(meeting.title_).bind(foldedIfBeyondAscii(meeting.title_));
             }},
            {Meeting::startedAtColumn, "startedAt=?",
             [&](StoreStatement& statement) { statement.bind(seconds(meeting.startedAt_)); }},
            {Meeting::durationColumn, "duration=?", bind(meeting.duration_)},
            {Meeting::sourceAppColumn, "sourceApp=?, sourceAppFolded=?",
             [&](StoreStatement& statement) { statement.bind(meeting.sourceApp_).bind(folded(meeting.sourceApp_)); }},
            {Meeting::audioFilePathColumn, "audioFilePath=?", bind(meeting.audioFilePath_)},
            {Meeting::systemAudioFilePathColumn, "systemAudioFilePath=?", bind(meeting.systemAudioFilePath_)},
            {Meeting::summaryColumn, "summary=?", bind(meeting.summary_)},
            {Meeting::actionItemsColumn, "actionItemsJSON=?", bind(meeting.actionItemsJSON_)},
            {Meeting::topicsColumn, "topicsJSON=?", bind(meeting.topicsJSON_)},
            {Meeting::calendarEventTitleColumn, "calendarEventTitle=?", bind(meeting.calendarEventTitle_)},
            {Meeting::calendarAttendeesColumn, "calendarAttendeesJSON=?", bind(meeting.calendarAttendeesJSON_)},
        });
    if (changesIndex) {
        index_.addMeeting(meeting.rowId_);
    }
}

void MeetingTable::remove(std::int64_t row) {
    index_.takeOutWholeMeeting(row);
    StoreStatement(connection_, "DELETE FROM meetings WHERE row=?").bind(row).run();
}

std::size_t MeetingTable::count() const {
    StoreStatement statement(connection_, "SELECT count(*) FROM meetings");
    statement.next();
    return static_cast<std::size_t>(statement.integer(0));
}

} // namespace Varnel
