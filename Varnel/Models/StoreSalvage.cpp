#include "Varnel/Models/StoreSalvage.h"

#include "Varnel/Models/FoldedText.h"
#include "Varnel/Models/ReadableRows.h"
#include "Varnel/Models/SearchIndex.h"
#include "Varnel/Models/StorableText.h"

#include <SQLiteCpp/Database.h>

#include <unordered_set>

namespace Varnel {

namespace {

constexpr std::size_t idBytes = 16;

// A number that a column could not give as such is none.
StoreStatement& bindReal(StoreStatement& to, const StoreStatement& from, int column) {
    return from.isNull(column) ? to.bindNull() : to.bind(from.real(column));
}

StoreStatement& bindText(StoreStatement& to, const StoreStatement& from, int column) {
    return to.bind(storable(from.optionalText(column)));
}

StoreStatement& bindTextAndFolded(StoreStatement& to, const StoreStatement& from, int column) {
    const QString text = storable(from.text(column));
    return to.bind(text).bind(foldedIfBeyondAscii(text));
}

class Salvage {
public:
    Salvage(StoreConnection& damaged, StoreConnection& fresh, const QDateTime& now, StoreRepair::Report& report)
        : damaged_(damaged), fresh_(fresh), now_(now), report_(report) {}

    void meetings() {
        walk("SELECT row, id, title, startedAt, duration, sourceApp, audioFilePath, systemAudioFilePath, summary, "
             "actionItemsJSON, topicsJSON, calendarEventTitle, calendarAttendeesJSON FROM meetings",
             [this](const StoreStatement& row) {
                 StoreStatement copy(fresh_, "INSERT OR IGNORE INTO meetings VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
                 copy.bind(row.integer(0)).bind(row.blob(1));
                 bindTextAndFolded(copy, row, 2);
                 bindReal(copy, row, 3);
                 bindReal(copy, row, 4);
                 const auto app = storable(row.optionalText(5));
                 copy.bind(app).bind(app ? foldedIfBeyondAscii(*app) : std::nullopt);
                 for (int column = 6; column <= 12; ++column) {
                     bindText(copy, row, column);
                 }
                 if (copy.run() > 0) {
                     meetings_.insert(row.integer(0));
                     ++report_.meetings;
                 }
             });
    }

    void speakers() {
        walk("SELECT row, id, meeting, name, colorHex, isYou, embedding FROM speakers",
             [this](const StoreStatement& row) {
                 const std::int64_t meeting = meetingFor(row.integer(2));
                 StoreStatement copy(fresh_, "INSERT OR IGNORE INTO speakers VALUES(?,?,?,?,?,?,?,?)");
                 copy.bind(row.integer(0)).bind(row.blob(1));
                 meeting == 0 ? copy.bindNull() : copy.bind(meeting);
                 bindTextAndFolded(copy, row, 3);
                 copy.bind(storable(row.text(4))).bind(row.integer(5));
                 row.isNull(6) ? copy.bindNull() : copy.bind(row.blob(6));
                 if (copy.run() > 0) {
                     speakers_.insert(row.integer(0));
                     ++report_.speakers;
                 }
             });
        // A digest has no id of its own; the digests of lost voices are not missed.
        report_.unreadableRanges +=
            forEachReadableRow(damaged_, "SELECT row, digest FROM (SELECT speaker AS row, digest FROM voiceDigests)",
                               [this](const StoreStatement& row) {
                                   if (speakers_.contains(row.integer(0))) {
                                       StoreStatement copy(fresh_, "INSERT OR IGNORE INTO voiceDigests VALUES(?,?)");
                                       copy.bind(row.integer(0)).bind(storable(row.text(1))).run();
                                   }
                               });
    }

    void segments() {
        walk("SELECT row, id, meeting, speaker, startTime, endTime, text FROM segments",
             [this](const StoreStatement& row) {
                 const std::int64_t meeting = meetingFor(row.integer(2));
                 std::int64_t speaker = row.integer(3);
                 if (speaker != 0 && !speakers_.contains(speaker)) {
                     ++report_.orphans;
                     speaker = 0;
                 }
                 StoreStatement copy(fresh_, "INSERT OR IGNORE INTO segments VALUES(?,?,?,?,?,?,?,?)");
                 copy.bind(row.integer(0)).bind(row.blob(1));
                 meeting == 0 ? copy.bindNull() : copy.bind(meeting);
                 speaker == 0 ? copy.bindNull() : copy.bind(speaker);
                 bindReal(copy, row, 4);
                 bindReal(copy, row, 5);
                 bindTextAndFolded(copy, row, 6);
                 if (copy.run() > 0) {
                     ++report_.segments;
                 }
             });
    }

private:
    void walk(const std::string& selection, const std::function<void(const StoreStatement&)>& copy) {
        report_.unreadableRanges += forEachReadableRow(damaged_, selection, [&](const StoreStatement& row) {
            if (row.blob(1).size() == idBytes) { // else the row is not one of ours
                copy(row);
            }
        });
    }

    // The meeting's row, which gets a new meeting if its own is lost.
    std::int64_t meetingFor(std::int64_t row) {
        if (row == 0 || meetings_.contains(row)) {
            return row;
        }
        ++report_.orphans;
        StoreStatement(fresh_, "INSERT INTO meetings(row, id, title, startedAt, duration) VALUES(?,?,?,?,0)")
            .bind(row)
            .bind(QUuid::createUuid())
            .bind(QStringLiteral("Recovered meeting"))
            .bind(static_cast<double>(now_.toMSecsSinceEpoch()) / 1000)
            .run();
        meetings_.insert(row);
        return row;
    }

    StoreConnection& damaged_;
    StoreConnection& fresh_;
    const QDateTime now_;
    StoreRepair::Report& report_;
    std::unordered_set<std::int64_t> meetings_;
    std::unordered_set<std::int64_t> speakers_;
};

} // namespace

void salvage(StoreConnection& damaged, StoreConnection& fresh, const QDateTime& now, StoreRepair::Report& report) {
    fresh.execute("BEGIN IMMEDIATE");
    try {
        Salvage rows(damaged, fresh, now, report);
        rows.meetings();
        rows.speakers();
        rows.segments();
        fresh.execute("COMMIT");
    } catch (...) {
        fresh.database().tryExec("ROLLBACK");
        throw;
    }
    SearchIndex(fresh).rebuild();
}

} // namespace Varnel
