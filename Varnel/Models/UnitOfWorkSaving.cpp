#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/UnitOfWork.h"

#include <SQLiteCpp/Database.h>

namespace Varnel {

void UnitOfWork::save() {
    if (!hasChanges()) {
        return;
    }
    connection_->execute("BEGIN IMMEDIATE");
    try {
        refresh(); // under the write lock: from here on nobody else changes anything
        write();
        connection_->execute("COMMIT");
    } catch (...) {
        connection_->database().tryExec("ROLLBACK");
        takeBackRows<Meeting>();
        takeBackRows<Speaker>();
        takeBackRows<TranscriptSegment>();
        resolveRows();
        throw;
    }
    keepWritten<Meeting>();
    keepWritten<Speaker>();
    keepWritten<TranscriptSegment>();
}

void UnitOfWork::write() {
    writeRemoved<TranscriptSegment>();
    writeRemoved<Speaker>();
    writeRemoved<Meeting>();
    writeInserted<Meeting>();
    resolveRows();
    writeInserted<Speaker>();
    resolveRows();
    writeInserted<TranscriptSegment>();
    writeChanged<Meeting>();
    writeChanged<Speaker>();
    writeChanged<TranscriptSegment>();
}

template <typename Model>
void UnitOfWork::writeRemoved() {
    for (const std::int64_t row : set<Model>().removed) {
        table<Model>().remove(row);
    }
}

template <typename Model>
void UnitOfWork::writeInserted() {
    for (const auto& [sequence, record] : set<Model>().inserted) {
        record->rowId_ = table<Model>().insert(*record);
    }
}

template <typename Model>
void UnitOfWork::writeChanged() {
    for (const auto& [row, record] : set<Model>().changed) {
        table<Model>().update(*record, record->changedColumns_);
    }
}

// Whatever waits and points to a record that has got its row, or lost it again, follows.
void UnitOfWork::resolveRows() {
    const auto follow = [](auto& child) {
        if (const auto meeting = child.meeting_.lock()) {
            child.meetingRow_ = meeting->context_ != nullptr ? meeting->rowId_ : 0;
        }
    };
    for (const auto& [sequence, speaker] : speakers_.inserted) {
        follow(*speaker);
    }
    for (const auto& [row, speaker] : speakers_.changed) {
        follow(*speaker);
    }
    const auto followBoth = [&](TranscriptSegment& segment) {
        follow(segment);
        if (segment.speaker_) {
            segment.speakerRow_ = segment.speaker_->context_ != nullptr ? segment.speaker_->rowId_ : 0;
        }
    };
    for (const auto& [sequence, segment] : segments_.inserted) {
        followBoth(*segment);
    }
    for (const auto& [row, segment] : segments_.changed) {
        followBoth(*segment);
    }
}

template <typename Model>
void UnitOfWork::keepWritten() {
    auto& records = set<Model>();
    for (const auto& [sequence, record] : records.inserted) {
        record->changedColumns_ = 0;
        records.loaded[record->rowId_] = record;
    }
    for (const auto& [row, record] : records.changed) {
        record->changedColumns_ = 0;
    }
    records.removed.clear();
    // Letting go of a record may end it, which changes `loaded`; these lists must not be walked by then.
    const auto inserted = std::exchange(records.inserted, {});
    const auto changed = std::exchange(records.changed, {});
}

template <typename Model>
void UnitOfWork::takeBackRows() {
    for (const auto& [sequence, record] : set<Model>().inserted) {
        record->rowId_ = 0;
    }
}

void UnitOfWork::refresh() {
    const std::int64_t version = connection_->dataVersion();
    if (version == dataVersion_) {
        return;
    }
    reload<Meeting>();
    reload<Speaker>();
    reload<TranscriptSegment>();
    dataVersion_ = version;
    hasRefreshed_ = true;
}

template <typename Model>
void UnitOfWork::reload() {
    using Table = std::remove_reference_t<decltype(table<Model>())>;
    std::vector<std::shared_ptr<Model>> present;
    for (const auto& [row, weak] : set<Model>().loaded) {
        if (auto record = weak.lock()) {
            present.push_back(std::move(record));
        }
    }
    const std::string sql = std::string(Table::selection()) + "WHERE row=?";
    for (const auto& record : present) {
        bool isStored = false;
        {
            StoreStatement statement(*connection_, sql);
            isStored = statement.bind(record->rowId_).next();
            if (isStored) {
                Table::read(statement, *record, record->changedColumns_);
            }
        }
        if constexpr (std::is_same_v<Model, Meeting>) {
            if (isStored) {
                record->speakersLoaded_ = Meeting::Loaded::no;
                record->segmentsLoaded_ = Meeting::Loaded::no;
            }
        }
        if (isStored || record->context_ == nullptr) { // gone with its meeting
            continue;
        }
        // Deleted elsewhere: what was removed here by way of it needs no writing any more.
        const std::int64_t row = record->rowId_;
        remove(record);
        set<Model>().removed.erase(row);
    }
}

} // namespace Varnel
