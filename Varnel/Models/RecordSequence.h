#pragma once

#include <atomic>
#include <cstdint>

namespace Varnel {

// Ever growing numbers, from 1, that order records without a row.
inline std::uint64_t nextRecordSequence() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace Varnel
