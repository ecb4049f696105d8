#pragma once

#include <cstddef>
#include <functional>
#include <optional>

namespace Varnel {

// Which records a fetch gives, and in which order. Without a sort they come in the order of their insertion, which
// also decides between equal keys.
template <typename Model>
struct FetchDescriptor {
    std::function<bool(const Model&)> predicate;                          // none: all
    std::function<bool(const Model&, const Model&)> areInIncreasingOrder; // none: insertion order
    std::optional<std::size_t> limit;
};

} // namespace Varnel
