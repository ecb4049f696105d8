#pragma once

#include <cstdint>

namespace Varnel {

class ModelContext;

// What the three persistent records share: the context that holds them and which of their columns wait for a save.
// Records belong to the main context, like the store.
class Record {
public:
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    // None until the record is inserted, and again after it was deleted, here or by another process.
    ModelContext* context() const { return context_; }

protected:
    Record();
    ~Record() = default;

    friend class ModelContext;
    friend class UnitOfWork;

    ModelContext* context_ = nullptr;
    std::int64_t rowId_ = 0; // 0 until the record was saved
    // Orders records that have no row yet: by construction, and from `insert` on by insertion.
    std::uint64_t sequence_;
    std::uint32_t changedColumns_ = 0; // bits of the record's own enumeration
};

} // namespace Varnel
