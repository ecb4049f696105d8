#include "Varnel/Models/StoreSchema.h"

namespace Varnel::StoreSchema {

// Rows are never numbered twice (AUTOINCREMENT), so that a row number held by one process cannot come to mean another
// record; their order is the order of insertion. A "Folded" column holds the lower-cased text where SQLite's own
// lower(), which knows ASCII alone, would give another, and is NULL elsewhere. Not a number is stored as NULL.
const char* const tables = R"sql(
CREATE TABLE store(key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;

CREATE TABLE meetings(
    row INTEGER PRIMARY KEY AUTOINCREMENT,
    id BLOB NOT NULL UNIQUE,
    title TEXT NOT NULL,
    titleFolded TEXT,
    startedAt REAL,
    duration REAL,
    sourceApp TEXT,
    sourceAppFolded TEXT,
    audioFilePath TEXT,
    systemAudioFilePath TEXT,
    summary TEXT,
    actionItemsJSON TEXT,
    topicsJSON TEXT,
    calendarEventTitle TEXT,
    calendarAttendeesJSON TEXT
);

CREATE TABLE speakers(
    row INTEGER PRIMARY KEY AUTOINCREMENT,
    id BLOB NOT NULL UNIQUE,
    meeting INTEGER REFERENCES meetings(row) ON DELETE CASCADE,
    name TEXT NOT NULL,
    nameFolded TEXT,
    colorHex TEXT NOT NULL,
    isYou INTEGER NOT NULL,
    embedding BLOB
);
CREATE INDEX speakersByMeeting ON speakers(meeting);

CREATE TABLE voiceDigests(
    speaker INTEGER PRIMARY KEY REFERENCES speakers(row) ON DELETE CASCADE,
    digest TEXT NOT NULL
);

CREATE TABLE segments(
    row INTEGER PRIMARY KEY AUTOINCREMENT,
    id BLOB NOT NULL UNIQUE,
    meeting INTEGER REFERENCES meetings(row) ON DELETE CASCADE,
    speaker INTEGER REFERENCES speakers(row) ON DELETE SET NULL,
    startTime REAL,
    endTime REAL,
    text TEXT NOT NULL,
    textFolded TEXT
);
CREATE INDEX segmentsByMeeting ON segments(meeting);
CREATE INDEX segmentsBySpeaker ON segments(speaker);
)sql";

} // namespace Varnel::StoreSchema
