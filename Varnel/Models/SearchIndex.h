#pragma once

#include "Varnel/Models/StoreStatement.h"

#include <cstdint>

namespace Varnel {

// Keeps the search index right, within the transaction that changes the rows: a row is taken out before it changes or
// goes, while its old text can be read, and added when its new text stands. Rows are best handled in ascending order.
// Throws StoreError.
class SearchIndex {
public:
    explicit SearchIndex(StoreConnection& connection) : connection_(connection) {}

    void addMeeting(std::int64_t row);
    void takeOutMeeting(std::int64_t row);
    void addSpeaker(std::int64_t row);
    void takeOutSpeaker(std::int64_t row);
    void addSegment(std::int64_t row, const QString& text);
    void takeOutSegment(std::int64_t row);
    // Its own row, its speakers' and its segments', without the records being loaded.
    void takeOutWholeMeeting(std::int64_t meeting);

    // Makes the whole index anew from the rows, in a transaction of its own.
    void rebuild();

private:
    enum class Operation { add, takeOut };
    enum class Table { meetings, speakers, segments };

    // On the rows of `table` that the condition with its one parameter names.
    void apply(Operation operation, Table table, const char* condition, std::int64_t parameter);

    StoreConnection& connection_;
};

} // namespace Varnel
