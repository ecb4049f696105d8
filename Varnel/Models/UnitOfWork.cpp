#include "Varnel/Models/UnitOfWork.h"

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/RecordSequence.h"

namespace Varnel {

UnitOfWork::UnitOfWork(ModelContext& context, std::unique_ptr<StoreConnection> connection)
    : context_(context),
      connection_(std::move(connection)),
      meetingTable_(*connection_),
      speakerTable_(*connection_),
      segmentTable_(*connection_),
      dataVersion_(connection_->dataVersion()) {}

UnitOfWork::~UnitOfWork() {
    const auto release = [](auto& set) {
        for (auto& [row, weak] : set.loaded) {
            if (const auto record = weak.lock()) {
                record->context_ = nullptr;
            }
        }
        for (auto& [sequence, record] : set.inserted) {
            record->context_ = nullptr;
        }
    };
    release(meetings_);
    release(speakers_);
    release(segments_);
}

template <typename Model>
void UnitOfWork::insert(const std::shared_ptr<Model>& record) {
    if (record->context_ != nullptr) {
        return;
    }
    record->context_ = &context_;
    record->rowId_ = 0;
    record->sequence_ = nextRecordSequence();
    record->changedColumns_ = 0;
    set<Model>().inserted.emplace(record->sequence_, record);
    // What is linked comes along.
    if constexpr (std::is_same_v<Model, Meeting>) {
        for (const auto& speaker : record->speakers_) {
            insert(speaker);
        }
        for (const auto& segment : record->segments_) {
            insert(segment);
        }
    } else {
        if (const auto meeting = record->meeting_.lock()) {
            insert(meeting);
        }
    }
    if constexpr (std::is_same_v<Model, TranscriptSegment>) {
        if (record->speaker_) {
            insert(record->speaker_);
        }
    }
}

template void UnitOfWork::insert(const std::shared_ptr<Meeting>&);
template void UnitOfWork::insert(const std::shared_ptr<Speaker>&);
template void UnitOfWork::insert(const std::shared_ptr<TranscriptSegment>&);

template <typename Model>
void UnitOfWork::takeOut(Model& record) {
    auto& records = set<Model>();
    record.context_ = nullptr;
    record.changedColumns_ = 0;
    if (record.rowId_ == 0) {
        records.inserted.erase(record.sequence_);
        return;
    }
    records.loaded.erase(record.rowId_);
    records.changed.erase(record.rowId_);
    record.rowId_ = 0;
}

template <typename Child>
void UnitOfWork::takeOutChildren(const Meeting& meeting, std::int64_t meetingRow) {
    std::vector<std::shared_ptr<Child>> doomed;
    const auto belongs = [&](const Child& child) {
        return child.isIn(meeting) || (meetingRow != 0 && child.meetingRow_ == meetingRow);
    };
    for (const auto& [sequence, child] : set<Child>().inserted) {
        if (belongs(*child)) {
            doomed.push_back(child);
        }
    }
    for (const auto& [row, weak] : set<Child>().loaded) {
        if (auto child = weak.lock(); child && belongs(*child)) {
            doomed.push_back(std::move(child));
        }
    }
    for (const auto& child : doomed) {
        takeOut(*child);
    }
}

void UnitOfWork::remove(const std::shared_ptr<Meeting>& meeting) {
    if (meeting->context_ != &context_) {
        return;
    }
    const std::int64_t row = meeting->rowId_;
    takeOutChildren<TranscriptSegment>(*meeting, row);
    takeOutChildren<Speaker>(*meeting, row);
    takeOut(*meeting);
    if (row != 0) {
        meetings_.removed.insert(row);
    }
}

void UnitOfWork::remove(const std::shared_ptr<Speaker>& speaker) {
    if (speaker->context_ != &context_) {
        return;
    }
    const std::int64_t row = speaker->rowId_;
    const auto pointing = speaker->inMemory_; // a copy: unlinking changes it
    for (TranscriptSegment* const segment : pointing) {
        segment->linkSpeaker({});
    }
    if (row != 0) {
        for (const auto& [segmentRow, weak] : segments_.loaded) {
            if (const auto segment = weak.lock(); segment && segment->speakerRow_ == row) {
                segment->speakerRow_ = 0;
            }
        }
        speakers_.removed.insert(row);
    }
    if (const auto meeting = speaker->meeting_.lock() ? speaker->meeting_.lock() : meetings_.find(speaker->meetingRow_);
        meeting && meeting->speakersLoaded_ == Meeting::Loaded::yes) {
        meeting->speakersLoaded_ = Meeting::Loaded::withFormerMembers;
    }
    takeOut(*speaker);
    speaker->meeting_.reset();
    speaker->meetingRow_ = 0;
}

void UnitOfWork::remove(const std::shared_ptr<TranscriptSegment>& segment) {
    if (segment->context_ != &context_) {
        return;
    }
    if (segment->rowId_ != 0) {
        segments_.removed.insert(segment->rowId_);
    }
    if (const auto meeting = segment->meeting_.lock() ? segment->meeting_.lock() : meetings_.find(segment->meetingRow_);
        meeting && meeting->segmentsLoaded_ == Meeting::Loaded::yes) {
        meeting->segmentsLoaded_ = Meeting::Loaded::withFormerMembers;
    }
    takeOut(*segment);
    segment->meeting_.reset();
    segment->meetingRow_ = 0;
}

template <typename Model>
void UnitOfWork::noteChanged(Model& record) {
    if (record.rowId_ != 0) {
        if (auto shared = record.weak_from_this().lock()) {
            set<Model>().changed.try_emplace(record.rowId_, std::move(shared));
        }
    }
}

template void UnitOfWork::noteChanged(Meeting&);
template void UnitOfWork::noteChanged(Speaker&);
template void UnitOfWork::noteChanged(TranscriptSegment&);

template <typename Model>
void UnitOfWork::forget(const Model& record) {
    set<Model>().loaded.erase(record.rowId_);
}

template void UnitOfWork::forget(const Meeting&);
template void UnitOfWork::forget(const Speaker&);
template void UnitOfWork::forget(const TranscriptSegment&);

bool UnitOfWork::hasChanges() const {
    return meetings_.hasChanges() || speakers_.hasChanges() || segments_.hasChanges();
}

} // namespace Varnel
