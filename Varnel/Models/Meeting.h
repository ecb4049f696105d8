#pragma once

#include "Varnel/Models/MeetingDetails.h"
#include "Varnel/Models/Record.h"

#include <QDateTime>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace Varnel {

class Speaker;
class TranscriptSegment;

// One recording or import.
class Meeting final : public Record, public std::enable_shared_from_this<Meeting> {
public:
    Meeting(QUuid id, QString title, const QDateTime& startedAt, std::optional<QString> sourceApp = {},
            std::optional<QString> audioFilePath = {}, std::optional<QString> systemAudioFilePath = {},
            double duration = 0);
    ~Meeting();

    const QUuid& id() const { return id_; }

    // Each setter marks its column for the next save.
    const QString& title() const { return title_; }

    void setTitle(QString title);

    const QDateTime& startedAt() const { return startedAt_; } // UTC

    void setStartedAt(const QDateTime& startedAt);

    double duration() const { return duration_; } // seconds

    void setDuration(double duration);

    const std::optional<QString>& sourceApp() const { return sourceApp_; }

    void setSourceApp(std::optional<QString> sourceApp);

    const std::optional<QString>& audioFilePath() const { return audioFilePath_; }

    void setAudioFilePath(std::optional<QString> path);

    const std::optional<QString>& systemAudioFilePath() const { return systemAudioFilePath_; }

    void setSystemAudioFilePath(std::optional<QString> path);

    const std::optional<QString>& summary() const { return summary_; }

    void setSummary(std::optional<QString> summary);

    const std::optional<QString>& actionItemsJSON() const { return actionItemsJSON_; }

    void setActionItemsJSON(std::optional<QString> json);

    const std::optional<QString>& topicsJSON() const { return topicsJSON_; }

    void setTopicsJSON(std::optional<QString> json);

    const std::optional<QString>& calendarEventTitle() const { return calendarEventTitle_; }

    void setCalendarEventTitle(std::optional<QString> title);

    const std::optional<QString>& calendarAttendeesJSON() const { return calendarAttendeesJSON_; }

    void setCalendarAttendeesJSON(std::optional<QString> json);

    // Relationships, in the order of insertion; loaded from the store at the first use. Deleting the meeting deletes
    // both. They change through Speaker::setMeeting and TranscriptSegment::setMeeting and by removal; records may be
    // removed while the list is walked, and it is brought up to date by the next call. Throw StoreError.
    const std::vector<std::shared_ptr<Speaker>>& speakers() const;
    const std::vector<std::shared_ptr<TranscriptSegment>>& segments() const;

    std::optional<QUrl> audioFileURL() const;
    std::optional<QUrl> systemAudioFileURL() const;

    QList<CalendarAttendee> calendarAttendees() const { return decodeCalendarAttendees(calendarAttendeesJSON_); }

    QList<ActionItem> actionItems() const { return decodeActionItems(actionItemsJSON_); }

    QList<Topic> topics() const { return decodeTopics(topicsJSON_); }

    // An encoding failure leaves the column as it was.
    void setCalendarAttendees(const QList<CalendarAttendee>& values);
    void setActionItems(const QList<ActionItem>& values);
    void setTopics(const QList<Topic>& values);

private:
    friend class UnitOfWork;
    friend class MeetingTable;
    friend class Speaker;
    friend class TranscriptSegment;

    enum Column : std::uint32_t {
        titleColumn = 1u << 0,
        startedAtColumn = 1u << 1,
        durationColumn = 1u << 2,
        sourceAppColumn = 1u << 3,
        audioFilePathColumn = 1u << 4,
        systemAudioFilePathColumn = 1u << 5,
        summaryColumn = 1u << 6,
        actionItemsColumn = 1u << 7,
        topicsColumn = 1u << 8,
        calendarEventTitleColumn = 1u << 9,
        calendarAttendeesColumn = 1u << 10,
    };
    // How far a relationship's list can be trusted.
    enum class Loaded { no, withFormerMembers, yes };

    template <typename Value>
    void assign(Value& field, Value value, Column column);

    QUuid id_;
    QString title_;
    QDateTime startedAt_;
    double duration_;
    std::optional<QString> sourceApp_;
    std::optional<QString> audioFilePath_;
    std::optional<QString> systemAudioFilePath_;
    std::optional<QString> summary_;
    std::optional<QString> actionItemsJSON_;
    std::optional<QString> topicsJSON_;
    std::optional<QString> calendarEventTitle_;
    std::optional<QString> calendarAttendeesJSON_;
    mutable std::vector<std::shared_ptr<Speaker>> speakers_;
    mutable std::vector<std::shared_ptr<TranscriptSegment>> segments_;
    // `no` for a meeting that came from the store, until the first use.
    mutable Loaded speakersLoaded_ = Loaded::yes;
    mutable Loaded segmentsLoaded_ = Loaded::yes;
};

} // namespace Varnel
