#include "Varnel/Models/Speaker.h"

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/StorableText.h"
#include "Varnel/Models/UnitOfWork.h"

#include <algorithm>

namespace Varnel {

Speaker::Speaker(QUuid id, QString name, QString colorHex, bool isYou, std::optional<Embedding> embedding)
    : id_(id),
      name_(storable(std::move(name))),
      colorHex_(storable(std::move(colorHex))),
      isYou_(isYou),
      embedding_(std::move(embedding)) {}

Speaker::~Speaker() {
    // Segments hold their speaker, so that none in memory points here any more.
    if (context_ != nullptr) {
        context_->work_->forget(*this);
    }
}

template <typename Value>
void Speaker::assign(Value& field, Value value, Column column) {
    field = std::move(value);
    if (context_ != nullptr) {
        changedColumns_ |= column;
        context_->work_->noteChanged(*this);
    }
}

void Speaker::setName(QString name) {
    assign(name_, storable(std::move(name)), nameColumn);
}

void Speaker::setColorHex(QString colorHex) {
    assign(colorHex_, storable(std::move(colorHex)), colorHexColumn);
}

void Speaker::setIsYou(bool isYou) {
    assign(isYou_, isYou, isYouColumn);
}

void Speaker::loadEmbedding() const {
    if (!embeddingLoaded_) {
        if (context_ != nullptr) {
            context_->work_->loadEmbedding(*this);
        }
        embeddingLoaded_ = true;
    }
}

const std::optional<Speaker::Embedding>& Speaker::embedding() const {
    loadEmbedding();
    return embedding_;
}

void Speaker::setEmbedding(std::optional<Embedding> embedding) {
    embeddingLoaded_ = true;
    assign(embedding_, std::move(embedding), embeddingColumn);
    assign(embeddingModelDigest_, std::optional<QString>(), embeddingModelDigestColumn);
}

const std::optional<QString>& Speaker::embeddingModelDigest() const {
    loadEmbedding();
    return embeddingModelDigest_;
}

void Speaker::setEmbeddingModelDigest(std::optional<QString> digest) {
    loadEmbedding();
    assign(embeddingModelDigest_, storable(std::move(digest)), embeddingModelDigestColumn);
}

std::shared_ptr<Meeting> Speaker::meeting() const {
    if (auto meeting = meeting_.lock()) {
        return meeting;
    }
    return context_ != nullptr ? context_->work_->withRow<Meeting>(meetingRow_) : nullptr;
}

void Speaker::setMeeting(const std::shared_ptr<Meeting>& meeting) {
    const auto self = weak_from_this().lock();
    if (const auto former = this->meeting(); former && former != meeting) {
        std::erase(former->speakers_, self);
    }
    const bool isMember = meeting && isIn(*meeting);
    meeting_ = meeting;
    assign(meetingRow_, meeting ? meeting->rowId_ : 0, meetingColumn);
    if (!meeting || isMember) {
        return;
    }
    if (meeting->context_ != nullptr && context_ == nullptr) {
        meeting->context_->work_->insert(self);
    }
    if (rowId_ != 0) {
        meeting->speakersLoaded_ = Meeting::Loaded::no; // its place is among the stored ones
    } else if (meeting->speakersLoaded_ != Meeting::Loaded::no) {
        meeting->speakers_.push_back(self);
    }
}

std::vector<std::shared_ptr<TranscriptSegment>> Speaker::segments() const {
    if (context_ != nullptr) {
        return context_->work_->segments(*this);
    }
    std::vector<std::shared_ptr<TranscriptSegment>> result;
    for (TranscriptSegment* const segment : inMemory_) {
        if (auto shared = segment->weak_from_this().lock()) {
            result.push_back(std::move(shared));
        }
    }
    std::sort(result.begin(), result.end(),
              [](const auto& left, const auto& right) { return left->sequence_ < right->sequence_; });
    return result;
}

bool Speaker::isIn(const Meeting& meeting) const {
    return meeting_.lock().get() == &meeting || (meetingRow_ != 0 && meetingRow_ == meeting.rowId_);
}

} // namespace Varnel
