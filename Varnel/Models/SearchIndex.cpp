#include "Varnel/Models/SearchIndex.h"

#include "Varnel/Models/StoreSchema.h"

#include <SQLiteCpp/Database.h>

#include <array>
#include <string>

namespace Varnel {

namespace {

struct Indexed {
    const char* index;
    const char* texts; // of one row, as they were indexed; a meeting's two are lines of one text
};

constexpr std::array<Indexed, 3> tables{{
    {"meetingIndex", "SELECT row, coalesce(titleFolded, lower(title)) || char(10) || "
                     "coalesce(sourceAppFolded, lower(sourceApp), '') FROM meetings "},
    {"speakerIndex", "SELECT row, coalesce(nameFolded, lower(name)) FROM speakers "},
    {"segmentIndex", "SELECT row, coalesce(textFolded, lower(text)) FROM segments "},
}};

} // namespace

void SearchIndex::apply(Operation operation, Table table, const char* condition, std::int64_t parameter) {
    const Indexed& indexed = tables[static_cast<std::size_t>(table)];
    const std::string index = indexed.index;
    const std::string sql = operation == Operation::add
                                ? "INSERT INTO " + index + "(rowid, text) VALUES(?, ?)"
                                : "INSERT INTO " + index + "(" + index + ", rowid, text) VALUES('delete', ?, ?)";
    StoreStatement texts(connection_, std::string(indexed.texts) + condition);
    texts.bind(parameter);
    while (texts.next()) {
        StoreStatement(connection_, sql).bind(texts.integer(0)).bind(texts.text(1)).run();
    }
}

void SearchIndex::addMeeting(std::int64_t row) {
    apply(Operation::add, Table::meetings, "WHERE row=?", row);
}

void SearchIndex::takeOutMeeting(std::int64_t row) {
    apply(Operation::takeOut, Table::meetings, "WHERE row=?", row);
}

void SearchIndex::addSpeaker(std::int64_t row) {
    apply(Operation::add, Table::speakers, "WHERE row=?", row);
}

void SearchIndex::takeOutSpeaker(std::int64_t row) {
    apply(Operation::takeOut, Table::speakers, "WHERE row=?", row);
}

void SearchIndex::addSegment(std::int64_t row, const QString& text) {
    StoreStatement(connection_, "INSERT INTO segmentIndex(rowid, text) VALUES(?, ?)")
        .bind(row)
        .bind(text.toLower())
        .run();
}

void SearchIndex::takeOutSegment(std::int64_t row) {
    apply(Operation::takeOut, Table::segments, "WHERE row=?", row);
}

void SearchIndex::takeOutWholeMeeting(std::int64_t meeting) {
    apply(Operation::takeOut, Table::meetings, "WHERE row=?", meeting);
    apply(Operation::takeOut, Table::speakers, "WHERE meeting=? ORDER BY row", meeting);
    apply(Operation::takeOut, Table::segments, "WHERE meeting=? ORDER BY row", meeting);
}

void SearchIndex::rebuild() {
    connection_.execute("BEGIN IMMEDIATE");
    try {
        for (const Indexed& indexed : tables) {
            connection_.execute(std::string("DROP TABLE IF EXISTS ") + indexed.index);
        }
        connection_.execute(StoreSchema::searchIndex);
        for (const Table table : {Table::meetings, Table::speakers, Table::segments}) {
            apply(Operation::add, table, "WHERE row>=? ORDER BY row", 0);
        }
        connection_.execute("COMMIT");
    } catch (...) {
        connection_.database().tryExec("ROLLBACK");
        throw;
    }
}

} // namespace Varnel
