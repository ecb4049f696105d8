#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>

namespace Varnel {

// What a unit of work knows of one kind of record.
template <typename Model>
struct RecordSet {
    // The records in memory by row; they belong to whoever holds them.
    std::unordered_map<std::int64_t, std::weak_ptr<Model>> loaded;
    // What waits for the next save, and is held until then: new records in the order of insertion, changed ones and
    // the rows of removed ones.
    std::map<std::uint64_t, std::shared_ptr<Model>> inserted;
    std::map<std::int64_t, std::shared_ptr<Model>> changed;
    std::set<std::int64_t> removed;

    bool hasChanges() const { return !inserted.empty() || !changed.empty() || !removed.empty(); }

    std::shared_ptr<Model> find(std::int64_t row) const {
        const auto found = loaded.find(row);
        return found == loaded.end() ? nullptr : found->second.lock();
    }
};

} // namespace Varnel
