#pragma once

#include "Varnel/Models/StoreStatement.h"

#include <cstdint>
#include <functional>
#include <string>

namespace Varnel {

// Walks the rows of a damaged table in their order, past what cannot be read. `selection` begins with the row's number
// and ends before its WHERE clause. Returns how many stretches of rows were passed over.
std::size_t forEachReadableRow(StoreConnection& connection, const std::string& selection,
                               const std::function<void(const StoreStatement&)>& use);

} // namespace Varnel
