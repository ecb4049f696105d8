#pragma once

#include "Varnel/Models/SearchIndex.h"
#include "Varnel/Models/StoreStatement.h"

#include <cstdint>
#include <memory>

namespace Varnel {

class Meeting;

// The rows of the meetings. Throws StoreError.
class MeetingTable {
public:
    explicit MeetingTable(StoreConnection& connection) : connection_(connection), index_(connection) {}

    // The statement that begins every reading: its first column is the row; a WHERE clause follows.
    static const char* selection();

    // The record of the statement's current row, and the same into a record that exists, but for the columns in `keep`.
    static std::shared_ptr<Meeting> record(const StoreStatement& statement);
    static void read(const StoreStatement& statement, Meeting& meeting, std::uint32_t keep);

    std::int64_t insert(const Meeting& meeting);
    void update(const Meeting& meeting, std::uint32_t columns);
    // With its speakers and segments.
    void remove(std::int64_t row);
    std::size_t count() const;

private:
    StoreConnection& connection_;
    SearchIndex index_;
};

} // namespace Varnel
