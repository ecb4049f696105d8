#pragma once

#include "Varnel/Models/FetchDescriptor.h"
#include "Varnel/Models/Meeting.h"
#include "Varnel/Models/MeetingTable.h"
#include "Varnel/Models/RecordSet.h"
#include "Varnel/Models/SegmentTable.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/SpeakerTable.h"
#include "Varnel/Models/TranscriptSegment.h"

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace Varnel {

class ModelContext;
class StoredVoice;
struct VoiceFilter;

// The workings of a ModelContext: one object for each row in memory, and the lists of what waits for a save.
//
// Invariants: a record whose context_ is set is in `inserted` (then rowId_ is 0) or in `loaded`; a changed record is
// held by `changed`. A record's meetingRow_ and speakerRow_ are those of the objects it points to, once these have one.
class UnitOfWork {
public:
    UnitOfWork(ModelContext& context, std::unique_ptr<StoreConnection> connection);
    // Records that outlive it lose their context.
    ~UnitOfWork();

    StoreConnection& connection() { return *connection_; }

    template <typename Model>
    void insert(const std::shared_ptr<Model>& record);
    void remove(const std::shared_ptr<Meeting>& meeting);
    void remove(const std::shared_ptr<Speaker>& speaker);
    void remove(const std::shared_ptr<TranscriptSegment>& segment);

    template <typename Model>
    std::vector<std::shared_ptr<Model>> fetch(const FetchDescriptor<Model>& descriptor);
    template <typename Model>
    std::shared_ptr<Model> withId(const QUuid& id);
    template <typename Model>
    std::shared_ptr<Model> withRow(std::int64_t row);
    std::size_t meetingCount();

    // The records that belong to a meeting, or a speaker's segments, pending changes seen.
    template <typename Child>
    std::vector<std::shared_ptr<Child>> children(const Meeting& meeting);
    std::vector<std::shared_ptr<TranscriptSegment>> segments(const Speaker& speaker);
    void loadEmbedding(const Speaker& speaker);
    void scanVoices(const VoiceFilter& filter, const std::function<void(const StoredVoice&)>& use);

    template <typename Model>
    void noteChanged(Model& record);
    // From a record's destructor.
    template <typename Model>
    void forget(const Model& record);

    bool hasChanges() const;
    void save();
    // Reads the records in memory again if another process changed the store.
    void refresh();

    // Whether that happened since the last call.
    bool takeHasRefreshed() { return std::exchange(hasRefreshed_, false); }

private:
    template <typename Model>
    RecordSet<Model>& set();
    template <typename Model>
    auto& table();

    // The record of the statement's row: the one in memory, or a new one; none if it waits to be removed.
    template <typename Model>
    std::shared_ptr<Model> materialise(const StoreStatement& statement);

    bool isRemoved(const Meeting&) const { return false; }

    bool isRemoved(const Speaker& speaker) const;
    bool isRemoved(const TranscriptSegment& segment) const;
    template <typename Model>
    static void sortByInsertion(std::vector<std::shared_ptr<Model>>& records);

    template <typename Model>
    void takeOut(Model& record);
    template <typename Child>
    void takeOutChildren(const Meeting& meeting, std::int64_t meetingRow);

    void write();
    template <typename Model>
    void writeRemoved();
    template <typename Model>
    void writeInserted();
    template <typename Model>
    void writeChanged();
    template <typename Model>
    void keepWritten();
    template <typename Model>
    void takeBackRows();
    void resolveRows();

    template <typename Model>
    void reload();

    ModelContext& context_;
    std::unique_ptr<StoreConnection> connection_;
    MeetingTable meetingTable_;
    SpeakerTable speakerTable_;
    SegmentTable segmentTable_;
    RecordSet<Meeting> meetings_;
    RecordSet<Speaker> speakers_;
    RecordSet<TranscriptSegment> segments_;
    std::int64_t dataVersion_ = 0;
    bool hasRefreshed_ = false;
};

template <typename Model>
RecordSet<Model>& UnitOfWork::set() {
    if constexpr (std::is_same_v<Model, Meeting>) {
        return meetings_;
    } else if constexpr (std::is_same_v<Model, Speaker>) {
        return speakers_;
    } else {
        return segments_;
    }
}

template <typename Model>
auto& UnitOfWork::table() {
    if constexpr (std::is_same_v<Model, Meeting>) {
        return meetingTable_;
    } else if constexpr (std::is_same_v<Model, Speaker>) {
        return speakerTable_;
    } else {
        return segmentTable_;
    }
}

} // namespace Varnel
