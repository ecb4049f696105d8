#include "Varnel/Refinement/LargestAssignment.h"

#include <algorithm>
#include <limits>

namespace Varnel {

namespace {

// Finds the cheapest assignment of every row of a wide matrix. Rows join one by one; potentials keep every reduced
// cost, cost - rowPotential - columnPotential, at or above zero, and that of a matched pair at zero. Index 0 of the
// columns is a stand-in that holds the row which looks for a place; rows and columns count from 1.
template <typename Cost>
class CheapestAssignment {
public:
    CheapestAssignment(std::size_t rows, std::size_t columns, const Cost& cost)
        : columns_(columns),
          cost_(cost),
          rowPotential_(rows + 1),
          columnPotential_(columns + 1),
          rowOf_(columns + 1),
          previous_(columns + 1) {
        for (std::size_t row = 1; row <= rows; ++row)
            place(row);
    }

    // The row that has a column, from 1; 0 for none.
    std::size_t rowOf(std::size_t column) const { return rowOf_[column]; }

private:
    void place(std::size_t newRow) {
        rowOf_[0] = newRow;
        std::vector<double> distance(columns_ + 1, std::numeric_limits<double>::infinity());
        std::vector<bool> reached(columns_ + 1);
        std::size_t column = 0;
        do {
            reached[column] = true;
            column = nextColumn(column, distance, reached);
        } while (rowOf_[column] != 0);
        for (; column != 0; column = previous_[column])
            rowOf_[column] = rowOf_[previous_[column]];
    }

    // One step of the search for the shortest path to a free column.
    std::size_t nextColumn(std::size_t from, std::vector<double>& distance, const std::vector<bool>& reached) {
        const std::size_t row = rowOf_[from];
        std::size_t nearest = 0;
        for (std::size_t column = 1; column <= columns_; ++column) {
            if (reached[column])
                continue;
            const double reduced = cost_(row - 1, column - 1) - rowPotential_[row] - columnPotential_[column];
            if (reduced < distance[column]) {
                distance[column] = reduced;
                previous_[column] = from;
            }
            if (nearest == 0 || distance[column] < distance[nearest])
                nearest = column;
        }
        const double step = distance[nearest];
        for (std::size_t column = 0; column <= columns_; ++column) {
            if (reached[column]) {
                rowPotential_[rowOf_[column]] += step;
                columnPotential_[column] -= step;
            } else {
                distance[column] -= step;
            }
        }
        return nearest;
    }

    std::size_t columns_;
    const Cost& cost_;
    std::vector<double> rowPotential_;
    std::vector<double> columnPotential_;
    std::vector<std::size_t> rowOf_;
    std::vector<std::size_t> previous_; // on the path to each column
};

} // namespace

std::vector<std::optional<std::size_t>> largestAssignment(const std::vector<double>& weights, std::size_t rows,
                                                          std::size_t columns) {
    const bool isWide = rows <= columns;
    const auto cost = [&](std::size_t row, std::size_t column) {
        return -(isWide ? weights[row * columns + column] : weights[column * columns + row]);
    };
    const CheapestAssignment search(std::min(rows, columns), std::max(rows, columns), cost);
    std::vector<std::optional<std::size_t>> result(rows);
    for (std::size_t column = 1; column <= std::max(rows, columns); ++column) {
        const std::size_t row = search.rowOf(column);
        if (row == 0)
            continue;
        if (isWide)
            result[row - 1] = column - 1;
        else
            result[column - 1] = row - 1;
    }
    return result;
}

} // namespace Varnel
