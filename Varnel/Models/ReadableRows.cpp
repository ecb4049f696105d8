#include "Varnel/Models/ReadableRows.h"

#include <algorithm>

namespace Varnel {

namespace {

// No library has more rows than this.
constexpr std::int64_t largestRow = std::int64_t{1} << 40;

enum class Outcome { end, unreadable };

// From `first` on until the end or something unreadable; `first` moves behind what was read.
Outcome readFrom(StoreConnection& connection, const std::string& selection, std::int64_t& first,
                 const std::function<void(const StoreStatement&)>& use) {
    try {
        StoreStatement statement(connection, selection + " WHERE row>=? ORDER BY row");
        statement.bind(first);
        while (statement.next()) {
            const std::int64_t row = statement.integer(0);
            if (row < first) { // a damaged page that pretends
                return Outcome::unreadable;
            }
            use(statement);
            first = row + 1;
        }
        return Outcome::end;
    } catch (const StoreError& error) {
        if (error.error() != StoreError::Case::damaged && error.error() != StoreError::Case::readFailed) {
            throw;
        }
        return Outcome::unreadable;
    }
}

// Whether something can be read from there on, be it the end.
bool isReadable(StoreConnection& connection, const std::string& selection, std::int64_t first) {
    try {
        StoreStatement statement(connection, selection + " WHERE row>=? ORDER BY row LIMIT 1");
        return !statement.bind(first).next() || statement.integer(0) >= first;
    } catch (const StoreError&) {
        return false;
    }
}

// The lowest row behind `unreadable` from which reading works again: steps that double, then halves of the last.
std::int64_t behind(StoreConnection& connection, const std::string& selection, std::int64_t unreadable) {
    std::int64_t step = 1;
    while (unreadable + step < largestRow && !isReadable(connection, selection, unreadable + step)) {
        step *= 2;
    }
    std::int64_t bad = unreadable + step / 2;
    std::int64_t good = unreadable + step;
    while (good - bad > 1) {
        const std::int64_t middle = bad + (good - bad) / 2;
        (isReadable(connection, selection, middle) ? good : bad) = middle;
    }
    return good;
}

} // namespace

std::size_t forEachReadableRow(StoreConnection& connection, const std::string& selection,
                               const std::function<void(const StoreStatement&)>& use) {
    std::size_t passedOver = 0;
    std::int64_t next = 1;
    while (next < largestRow && readFrom(connection, selection, next, use) == Outcome::unreadable) {
        ++passedOver;
        next = std::max(next + 1, behind(connection, selection, next));
    }
    return passedOver;
}

} // namespace Varnel
