#include "Varnel/Models/Meeting.h"

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/StorableText.h"
#include "Varnel/Models/UnitOfWork.h"

#include <algorithm>

namespace Varnel {

Meeting::Meeting(QUuid id, QString title, const QDateTime& startedAt, std::optional<QString> sourceApp,
                 std::optional<QString> audioFilePath, std::optional<QString> systemAudioFilePath, double duration)
    : id_(id),
      title_(storable(std::move(title))),
      startedAt_(startedAt.toUTC()),
      duration_(duration),
      sourceApp_(storable(std::move(sourceApp))),
      audioFilePath_(storable(std::move(audioFilePath))),
      systemAudioFilePath_(storable(std::move(systemAudioFilePath))) {}

Meeting::~Meeting() {
    if (context_ != nullptr) {
        context_->work_->forget(*this);
    }
}

template <typename Value>
void Meeting::assign(Value& field, Value value, Column column) {
    field = std::move(value);
    if (context_ != nullptr) {
        changedColumns_ |= column;
        context_->work_->noteChanged(*this);
    }
}

void Meeting::setTitle(QString title) {
    assign(title_, storable(std::move(title)), titleColumn);
}

void Meeting::setStartedAt(const QDateTime& startedAt) {
    assign(startedAt_, startedAt.toUTC(), startedAtColumn);
}

void Meeting::setDuration(double duration) {
    assign(duration_, duration, durationColumn);
}

void Meeting::setSourceApp(std::optional<QString> sourceApp) {
    assign(sourceApp_, storable(std::move(sourceApp)), sourceAppColumn);
}

void Meeting::setAudioFilePath(std::optional<QString> path) {
    assign(audioFilePath_, storable(std::move(path)), audioFilePathColumn);
}

void Meeting::setSystemAudioFilePath(std::optional<QString> path) {
    assign(systemAudioFilePath_, storable(std::move(path)), systemAudioFilePathColumn);
}

void Meeting::setSummary(std::optional<QString> summary) {
    assign(summary_, storable(std::move(summary)), summaryColumn);
}

void Meeting::setActionItemsJSON(std::optional<QString> json) {
    assign(actionItemsJSON_, storable(std::move(json)), actionItemsColumn);
}

void Meeting::setTopicsJSON(std::optional<QString> json) {
    assign(topicsJSON_, storable(std::move(json)), topicsColumn);
}

void Meeting::setCalendarEventTitle(std::optional<QString> title) {
    assign(calendarEventTitle_, storable(std::move(title)), calendarEventTitleColumn);
}

void Meeting::setCalendarAttendeesJSON(std::optional<QString> json) {
    assign(calendarAttendeesJSON_, storable(std::move(json)), calendarAttendeesColumn);
}

const std::vector<std::shared_ptr<Speaker>>& Meeting::speakers() const {
    if (speakersLoaded_ == Loaded::no && context_ != nullptr) {
        speakers_ = context_->work_->children<Speaker>(*this);
    } else if (speakersLoaded_ == Loaded::withFormerMembers) {
        std::erase_if(speakers_, [this](const auto& speaker) { return !speaker->isIn(*this); });
    }
    speakersLoaded_ = Loaded::yes;
    return speakers_;
}

const std::vector<std::shared_ptr<TranscriptSegment>>& Meeting::segments() const {
    if (segmentsLoaded_ == Loaded::no && context_ != nullptr) {
        segments_ = context_->work_->children<TranscriptSegment>(*this);
    } else if (segmentsLoaded_ == Loaded::withFormerMembers) {
        std::erase_if(segments_, [this](const auto& segment) { return !segment->isIn(*this); });
    }
    segmentsLoaded_ = Loaded::yes;
    return segments_;
}

std::optional<QUrl> Meeting::audioFileURL() const {
    return audioFilePath_ ? std::optional(QUrl::fromLocalFile(*audioFilePath_)) : std::nullopt;
}

std::optional<QUrl> Meeting::systemAudioFileURL() const {
    return systemAudioFilePath_ ? std::optional(QUrl::fromLocalFile(*systemAudioFilePath_)) : std::nullopt;
}

void Meeting::setCalendarAttendees(const QList<CalendarAttendee>& values) {
    if (auto json = encode(values)) {
        setCalendarAttendeesJSON(std::move(json));
    }
}

void Meeting::setActionItems(const QList<ActionItem>& values) {
    if (auto json = encode(values)) {
        setActionItemsJSON(std::move(json));
    }
}

void Meeting::setTopics(const QList<Topic>& values) {
    if (auto json = encode(values)) {
        setTopicsJSON(std::move(json));
    }
}

} // namespace Varnel
