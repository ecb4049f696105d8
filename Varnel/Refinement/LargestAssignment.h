#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace Varnel {

// Pairs rows with columns one to one, so that the sum of the pairs' weights is the largest: the Hungarian method with
// shortest augmenting paths, O(n^2 m) for n the smaller side. `weights` is row-major [rows, columns], finite.
// For each row its column; none for the rows that are left over.
std::vector<std::optional<std::size_t>> largestAssignment(const std::vector<double>& weights, std::size_t rows,
                                                          std::size_t columns);

} // namespace Varnel
