#pragma once

#include "Varnel/Models/Record.h"

#include <QString>
#include <QUuid>

#include <cstdint>
#include <memory>

namespace Varnel {

class Meeting;
class Speaker;

// One line of a transcript.
class TranscriptSegment final : public Record, public std::enable_shared_from_this<TranscriptSegment> {
public:
    // Trims white space from the text.
    TranscriptSegment(QUuid id, double startTime, double endTime, const QString& text,
                      std::shared_ptr<Speaker> speaker = {});
    ~TranscriptSegment();

    const QUuid& id() const { return id_; }

    double startTime() const { return startTime_; } // seconds from the beginning of the recording

    void setStartTime(double seconds);

    double endTime() const { return endTime_; }

    void setEndTime(double seconds);

    const QString& text() const { return text_; }

    void setText(QString text);

    // None for a segment that outlived its speaker: it shows as unattributed.
    const std::shared_ptr<Speaker>& speaker() const;
    void setSpeaker(std::shared_ptr<Speaker> speaker);

    std::shared_ptr<Meeting> meeting() const;
    void setMeeting(const std::shared_ptr<Meeting>& meeting);

private:
    friend class UnitOfWork;
    friend class SegmentTable;
    friend class Meeting;
    friend class Speaker;

    enum Column : std::uint32_t {
        startTimeColumn = 1u << 0,
        endTimeColumn = 1u << 1,
        textColumn = 1u << 2,
        speakerColumn = 1u << 3,
        meetingColumn = 1u << 4,
    };

    template <typename Value>
    void assign(Value& field, Value value, Column column);
    void linkSpeaker(std::shared_ptr<Speaker> speaker) const;
    bool isIn(const Meeting& meeting) const;

    QUuid id_;
    double startTime_;
    double endTime_;
    QString text_;
    mutable std::shared_ptr<Speaker> speaker_;
    mutable std::int64_t speakerRow_ = 0; // the speaker's row, while it is not in memory
    std::weak_ptr<Meeting> meeting_;
    std::int64_t meetingRow_ = 0; // the meeting's row, while it is not in memory
};

} // namespace Varnel
