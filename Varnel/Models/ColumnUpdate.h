#pragma once

#include "Varnel/Models/StoreStatement.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>

namespace Varnel {

// Writing some columns of one row: which bit stands for which assignment, and how its values are bound.
struct ColumnUpdate {
    std::uint32_t column;
    const char* assignment; // "title=?, titleFolded=?"
    std::function<void(StoreStatement&)> bind;
};

// Runs "UPDATE table SET ... WHERE row=?" with the assignments whose bit is in `columns`; nothing if there are none.
void updateColumns(StoreConnection& connection, const char* table, std::int64_t row, std::uint32_t columns,
                   std::initializer_list<ColumnUpdate> updates);

} // namespace Varnel
