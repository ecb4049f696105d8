#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/UnitOfWork.h"

#include <algorithm>
#include <tuple>

namespace Varnel {

namespace {

// How many rows are read before predicates, which may read themselves, see them.
constexpr std::int64_t batchRows = 512;

} // namespace

bool UnitOfWork::isRemoved(const Speaker& speaker) const {
    return meetings_.removed.contains(speaker.meetingRow_);
}

bool UnitOfWork::isRemoved(const TranscriptSegment& segment) const {
    return meetings_.removed.contains(segment.meetingRow_);
}

template <typename Model>
std::shared_ptr<Model> UnitOfWork::materialise(const StoreStatement& statement) {
    auto& records = set<Model>();
    const std::int64_t row = statement.integer(0);
    if (records.removed.contains(row)) {
        return nullptr;
    }
    if (auto present = records.find(row)) {
        return present;
    }
    auto record = std::remove_reference_t<decltype(table<Model>())>::record(statement);
    if (isRemoved(*record)) {
        return nullptr;
    }
    if constexpr (std::is_same_v<Model, TranscriptSegment>) {
        if (speakers_.removed.contains(record->speakerRow_)) {
            record->speakerRow_ = 0;
        }
    }
    if constexpr (std::is_same_v<Model, Meeting>) {
        record->speakersLoaded_ = Meeting::Loaded::no;
        record->segmentsLoaded_ = Meeting::Loaded::no;
    }
    record->rowId_ = row;
    record->context_ = &context_;
    records.loaded[row] = record;
    return record;
}

template <typename Model>
std::vector<std::shared_ptr<Model>> UnitOfWork::fetch(const FetchDescriptor<Model>& descriptor) {
    using Table = std::remove_reference_t<decltype(table<Model>())>;
    std::vector<std::shared_ptr<Model>> result;
    const bool stopsEarly = descriptor.limit && !descriptor.areInIncreasingOrder;
    const auto isFull = [&] { return stopsEarly && result.size() >= *descriptor.limit; };
    const auto consider = [&](std::shared_ptr<Model>&& record) {
        if (!isFull() && (!descriptor.predicate || descriptor.predicate(*record))) {
            result.push_back(std::move(record));
        }
    };

    const std::string sql = std::string(Table::selection()) + "WHERE row>? ORDER BY row LIMIT ?";
    std::int64_t last = -1;
    for (std::int64_t read = batchRows; read == batchRows && !isFull();) {
        read = 0;
        std::vector<std::shared_ptr<Model>> batch;
        {
            StoreStatement statement(*connection_, sql);
            statement.bind(last).bind(batchRows);
            for (; statement.next(); ++read) {
                last = statement.integer(0);
                if (auto record = materialise<Model>(statement)) {
                    batch.push_back(std::move(record));
                }
            }
        }
        for (auto& record : batch) {
            consider(std::move(record));
        }
    }
    const auto pending = set<Model>().inserted; // a copy, for predicates may insert
    for (auto [sequence, record] : pending) {
        consider(std::move(record));
    }

    if (descriptor.areInIncreasingOrder) {
        std::stable_sort(result.begin(), result.end(), [&](const auto& left, const auto& right) {
            return descriptor.areInIncreasingOrder(*left, *right);
        });
    }
    if (descriptor.limit && result.size() > *descriptor.limit) {
        result.resize(*descriptor.limit);
    }
    return result;
}

template std::vector<std::shared_ptr<Meeting>> UnitOfWork::fetch(const FetchDescriptor<Meeting>&);
template std::vector<std::shared_ptr<Speaker>> UnitOfWork::fetch(const FetchDescriptor<Speaker>&);
template std::vector<std::shared_ptr<TranscriptSegment>> UnitOfWork::fetch(const FetchDescriptor<TranscriptSegment>&);

template <typename Model>
std::shared_ptr<Model> UnitOfWork::withId(const QUuid& id) {
    for (const auto& [sequence, record] : set<Model>().inserted) {
        if (record->id() == id) {
            return record;
        }
    }
    StoreStatement statement(*connection_, std::string(std::remove_reference_t<decltype(table<Model>())>::selection()) +
                                               "WHERE id=?");
    return statement.bind(id).next() ? materialise<Model>(statement) : nullptr;
}

template std::shared_ptr<Meeting> UnitOfWork::withId(const QUuid&);
template std::shared_ptr<Speaker> UnitOfWork::withId(const QUuid&);

template <typename Model>
std::shared_ptr<Model> UnitOfWork::withRow(std::int64_t row) {
    if (row == 0) {
        return nullptr;
    }
    if (auto present = set<Model>().find(row)) {
        return present;
    }
    StoreStatement statement(*connection_, std::string(std::remove_reference_t<decltype(table<Model>())>::selection()) +
                                               "WHERE row=?");
    return statement.bind(row).next() ? materialise<Model>(statement) : nullptr;
}

template std::shared_ptr<Meeting> UnitOfWork::withRow(std::int64_t);
template std::shared_ptr<Speaker> UnitOfWork::withRow(std::int64_t);

std::size_t UnitOfWork::meetingCount() {
    const std::size_t stored = meetingTable_.count();
    return stored - std::min(stored, meetings_.removed.size()) + meetings_.inserted.size();
}

template <typename Child>
std::vector<std::shared_ptr<Child>> UnitOfWork::children(const Meeting& meeting) {
    std::vector<std::shared_ptr<Child>> result;
    if (meeting.rowId_ != 0) {
        StoreStatement statement(*connection_,
                                 std::string(std::remove_reference_t<decltype(table<Child>())>::selection()) +
                                     "WHERE meeting=? ORDER BY row");
        statement.bind(meeting.rowId_);
        while (statement.next()) {
            if (auto child = materialise<Child>(statement); child && child->isIn(meeting)) {
                result.push_back(std::move(child));
            }
        }
    }
    const std::size_t stored = result.size();
    const auto addMoved = [&](const std::shared_ptr<Child>& child) {
        const auto end = result.begin() + static_cast<std::ptrdiff_t>(stored);
        if (child->isIn(meeting) && std::find(result.begin(), end, child) == end) {
            result.push_back(child);
        }
    };
    for (const auto& [row, child] : set<Child>().changed) {
        if ((child->changedColumns_ & Child::meetingColumn) != 0) {
            addMoved(child);
        }
    }
    for (const auto& [sequence, child] : set<Child>().inserted) {
        if (child->isIn(meeting)) {
            result.push_back(child);
        }
    }
    sortByInsertion(result);
    return result;
}

template std::vector<std::shared_ptr<Speaker>> UnitOfWork::children(const Meeting&);
template std::vector<std::shared_ptr<TranscriptSegment>> UnitOfWork::children(const Meeting&);

std::vector<std::shared_ptr<TranscriptSegment>> UnitOfWork::segments(const Speaker& speaker) {
    std::vector<std::shared_ptr<TranscriptSegment>> result;
    if (speaker.rowId_ != 0) {
        StoreStatement statement(*connection_, std::string(SegmentTable::selection()) + "WHERE speaker=? ORDER BY row");
        statement.bind(speaker.rowId_);
        while (statement.next()) {
            // Those that know the speaker's object follow below.
            if (auto segment = materialise<TranscriptSegment>(statement);
                segment && segment->speaker_ == nullptr && segment->speakerRow_ == speaker.rowId_) {
                result.push_back(std::move(segment));
            }
        }
    }
    for (TranscriptSegment* const segment : speaker.inMemory_) {
        if (auto shared = segment->weak_from_this().lock(); shared && segment->context_ == speaker.context_) {
            result.push_back(std::move(shared));
        }
    }
    sortByInsertion(result);
    return result;
}

void UnitOfWork::loadEmbedding(const Speaker& speaker) {
    speakerTable_.readEmbedding(speaker);
}

template <typename Model>
void UnitOfWork::sortByInsertion(std::vector<std::shared_ptr<Model>>& records) {
    const auto key = [](const Model& record) {
        return std::tuple(record.rowId_ == 0, record.rowId_, record.sequence_);
    };
    std::sort(records.begin(), records.end(),
              [&](const auto& left, const auto& right) { return key(*left) < key(*right); });
}

} // namespace Varnel
