#include "Varnel/Models/ColumnUpdate.h"

namespace Varnel {

void updateColumns(StoreConnection& connection, const char* table, std::int64_t row, std::uint32_t columns,
                   std::initializer_list<ColumnUpdate> updates) {
    std::string assignments;
    for (const auto& update : updates) {
        if ((columns & update.column) != 0) {
            assignments += (assignments.empty() ? "" : ", ") + std::string(update.assignment);
        }
    }
    if (assignments.empty()) {
        return;
    }
    StoreStatement statement(connection, std::string("UPDATE ") + table + " SET " + assignments + " WHERE row=?");
    for (const auto& update : updates) {
        if ((columns & update.column) != 0) {
            update.bind(statement);
        }
    }
    statement.bind(row).run();
}

} // namespace Varnel
