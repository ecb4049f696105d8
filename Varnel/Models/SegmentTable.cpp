#include "Varnel/Models/SegmentTable.h"

#include "Varnel/Models/ColumnUpdate.h"
#include "Varnel/Models/FoldedText.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/TranscriptSegment.h"

#include <SQLiteCpp/Database.h>

namespace Varnel {

namespace {

StoreStatement& bindRow(StoreStatement& statement, std::int64_t row) {
    return row == 0 ? statement.bindNull() : statement.bind(row);
}

} // namespace

const char* SegmentTable::selection() {
    return "SELECT row, id, meeting, speaker, startTime, endTime, text FROM segments ";
}

std::shared_ptr<TranscriptSegment> SegmentTable::record(const StoreStatement& statement) {
    auto segment = std::make_shared<TranscriptSegment>(statement.uuid(1), 0, 0, QString());
    read(statement, *segment, 0);
    return segment;
}

void SegmentTable::read(const StoreStatement& statement, TranscriptSegment& segment, std::uint32_t keep) {
    if ((keep & TranscriptSegment::meetingColumn) == 0) {
        const std::int64_t meeting = statement.integer(2); // NULL reads as 0
        if (meeting != segment.meetingRow_) {
            segment.meeting_.reset();
            segment.meetingRow_ = meeting;
        }
    }
    if ((keep & TranscriptSegment::speakerColumn) == 0) {
        const std::int64_t speaker = statement.integer(3);
        if (speaker != segment.speakerRow_) {
            segment.linkSpeaker({});
            segment.speakerRow_ = speaker;
        }
    }
    if ((keep & TranscriptSegment::startTimeColumn) == 0) {
        segment.startTime_ = statement.real(4);
    }
    if ((keep & TranscriptSegment::endTimeColumn) == 0) {
        segment.endTime_ = statement.real(5);
    }
    if ((keep & TranscriptSegment::textColumn) == 0) {
        segment.text_ = statement.text(6);
    }
}

std::int64_t SegmentTable::insert(const TranscriptSegment& segment) {
    StoreStatement statement(connection_, "INSERT INTO segments(id, meeting, speaker, startTime, endTime, text, "
                                          "textFolded) VALUES(?,?,?,?,?,?,?)");
    statement.bind(segment.id_);
    bindRow(statement, segment.meetingRow_);
    bindRow(statement, segment.speakerRow_);
    statement.bind(segment.startTime_)
        .bind(segment.endTime_)
        .bind(segment.text_)
        .bind(foldedIfBeyondAscii(segment.text_))
        .run();
    const std::int64_t row = connection_.database().getLastInsertRowid();
    index_.addSegment(row, segment.text_);
    return row;
}

void SegmentTable::update(const TranscriptSegment& segment, std::uint32_t columns) {
    const bool changesIndex = (columns & TranscriptSegment::textColumn) != 0;
    if (changesIndex) {
        index_.takeOutSegment(segment.rowId_);
    }
    updateColumns(connection_, "segments", segment.rowId_, columns,
                  {
                      {TranscriptSegment::startTimeColumn, "startTime=?",
                       [&](StoreStatement& statement) { statement.bind(segment.startTime_); }},
                      {TranscriptSegment::endTimeColumn, "endTime=?",
                       [&](StoreStatement& statement) { statement.bind(segment.endTime_); }},
                      {TranscriptSegment::textColumn, "text=?, textFolded=?",
                       [&](StoreStatement& statement) {
                           statement.bind(segment.text_).bind(foldedIfBeyondAscii(segment.text_));
                       }},
                      {TranscriptSegment::speakerColumn, "speaker=?",
                       [&](StoreStatement& statement) { bindRow(statement, segment.speakerRow_); }},
                      {TranscriptSegment::meetingColumn, "meeting=?",
                       [&](StoreStatement& statement) { bindRow(statement, segment.meetingRow_); }},
                  });
    if (changesIndex) {
        index_.addSegment(segment.rowId_, segment.text_);
    }
}

void SegmentTable::remove(std::int64_t row) {
    index_.takeOutSegment(row);
    StoreStatement(connection_, "DELETE FROM segments WHERE row=?").bind(row).run();
}

} // namespace Varnel
