#include "Varnel/Models/TranscriptSegment.h"

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/StorableText.h"
#include "Varnel/Models/UnitOfWork.h"

namespace Varnel {

TranscriptSegment::TranscriptSegment(QUuid id, double startTime, double endTime, const QString& text,
                                     std::shared_ptr<Speaker> speaker)
    : id_(id), startTime_(startTime), endTime_(endTime), text_(storable(text.trimmed())) {
    linkSpeaker(std::move(speaker));
}

TranscriptSegment::~TranscriptSegment() {
    linkSpeaker({});
    if (context_ != nullptr) {
        context_->work_->forget(*this);
    }
}

template <typename Value>
void TranscriptSegment::assign(Value& field, Value value, Column column) {
    field = std::move(value);
    if (context_ != nullptr) {
        changedColumns_ |= column;
        context_->work_->noteChanged(*this);
    }
}

void TranscriptSegment::setStartTime(double seconds) {
    assign(startTime_, seconds, startTimeColumn);
}

void TranscriptSegment::setEndTime(double seconds) {
    assign(endTime_, seconds, endTimeColumn);
}

void TranscriptSegment::setText(QString text) {
    assign(text_, storable(std::move(text)), textColumn);
}

// The speaker in memory knows who points to it.
void TranscriptSegment::linkSpeaker(std::shared_ptr<Speaker> speaker) const {
    auto* const self = const_cast<TranscriptSegment*>(this);
    if (speaker_) {
        speaker_->inMemory_.erase(self);
    }
    speaker_ = std::move(speaker);
    speakerRow_ = 0;
    if (speaker_) {
        speaker_->inMemory_.insert(self);
        speakerRow_ = speaker_->rowId_;
    }
}

const std::shared_ptr<Speaker>& TranscriptSegment::speaker() const {
    if (!speaker_ && speakerRow_ != 0 && context_ != nullptr) {
        linkSpeaker(context_->work_->withRow<Speaker>(speakerRow_));
    }
    return speaker_;
}

void TranscriptSegment::setSpeaker(std::shared_ptr<Speaker> speaker) {
    linkSpeaker(std::move(speaker));
    assign(speakerRow_, speakerRow_, speakerColumn);
    if (speaker_ && speaker_->context_ == nullptr && context_ != nullptr) {
        context_->work_->insert(speaker_);
    }
}

std::shared_ptr<Meeting> TranscriptSegment::meeting() const {
    if (auto meeting = meeting_.lock()) {
        return meeting;
    }
    return context_ != nullptr ? context_->work_->withRow<Meeting>(meetingRow_) : nullptr;
}

void TranscriptSegment::setMeeting(const std::shared_ptr<Meeting>& meeting) {
    const auto self = weak_from_this().lock();
    const bool isMember = meeting && isIn(*meeting);
    if (const auto former = this->meeting(); former && former != meeting) {
        std::erase(former->segments_, self);
    }
    meeting_ = meeting;
    assign(meetingRow_, meeting ? meeting->rowId_ : 0, meetingColumn);
    if (!meeting || isMember) {
        return;
    }
    if (meeting->context_ != nullptr && context_ == nullptr) {
        meeting->context_->work_->insert(self);
    }
    if (rowId_ != 0) {
        meeting->segmentsLoaded_ = Meeting::Loaded::no; // its place is among the stored ones
    } else if (meeting->segmentsLoaded_ != Meeting::Loaded::no) {
        meeting->segments_.push_back(self);
    }
}

bool TranscriptSegment::isIn(const Meeting& meeting) const {
    return meeting_.lock().get() == &meeting || (meetingRow_ != 0 && meetingRow_ == meeting.rowId_);
}

} // namespace Varnel
