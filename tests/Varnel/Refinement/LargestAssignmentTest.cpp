#include "Varnel/Refinement/LargestAssignment.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>

namespace Varnel {
namespace {

using Assignment = std::vector<std::optional<std::size_t>>;

double sumOf(const Assignment& assignment, const std::vector<double>& weights, std::size_t columns) {
    double sum = 0;
    for (std::size_t row = 0; row < assignment.size(); ++row)
        if (assignment[row])
            sum += weights[row * columns + *assignment[row]];
    return sum;
}

// Every way there is to pair the smaller side with some of the larger.
double largestSumByTrying(const std::vector<double>& weights, std::size_t rows, std::size_t columns) {
    const std::size_t larger = std::max(rows, columns);
    std::vector<std::size_t> order(larger);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::optional<double> best;
    do {
        double sum = 0;
        for (std::size_t i = 0; i < std::min(rows, columns); ++i)
            sum += rows <= columns ? weights[i * columns + order[i]] : weights[order[i] * columns + i];
        best = best ? std::max(*best, sum) : sum;
    } while (std::next_permutation(order.begin(), order.end()));
    return best.value_or(0);
}

TEST(LargestAssignment, TakesALesserPairForALargerSum) {
    // The greedy choice, 9 + 1, is worse than 8 + 7.
    EXPECT_EQ(largestAssignment({9, 8, 7, 1}, 2, 2), (Assignment{1, 0}));
}

TEST(LargestAssignment, LeavesOverWhatHasNoCounterpart) {
    EXPECT_EQ(largestAssignment({1, 5, 2}, 1, 3), (Assignment{1}));
    EXPECT_EQ(largestAssignment({1, 5, 2}, 3, 1), (Assignment{std::nullopt, 0, std::nullopt}));
    EXPECT_EQ(largestAssignment({}, 0, 3), Assignment{});
    EXPECT_EQ(largestAssignment({}, 2, 0), (Assignment{std::nullopt, std::nullopt}));
}

TEST(LargestAssignment, FindsWhatTryingEverythingFinds) {
    EXPECT_TRUE(rc::check("the sum is the largest there is, of pairs that share nothing", [] {
        const auto rows = *rc::gen::inRange<std::size_t>(0, 7);
        const auto columns = *rc::gen::inRange<std::size_t>(0, 7);
        const auto numbers =
            *rc::gen::container<std::vector<int>>(rows * columns, rc::gen::inRange(-20, 100)); // many equal ones
        const std::vector<double> weights(numbers.begin(), numbers.end());
        const Assignment assignment = largestAssignment(weights, rows, columns);
        RC_ASSERT(assignment.size() == rows);
        std::set<std::size_t> taken;
        std::size_t pairs = 0;
        for (const auto& column : assignment) {
            if (!column)
                continue;
            ++pairs;
            RC_ASSERT(*column < columns);
            RC_ASSERT(taken.insert(*column).second);
        }
        RC_ASSERT(pairs == std::min(rows, columns));
        RC_ASSERT(std::abs(sumOf(assignment, weights, columns) - largestSumByTrying(weights, rows, columns)) < 1e-9);
    }));
}

TEST(LargestAssignment, FindsAHiddenPermutationOfManySpeakers) {
    EXPECT_TRUE(rc::check("60 by 50, one column of each row far ahead of the others", [] {
        constexpr std::size_t rows = 60;
        constexpr std::size_t columns = 50;
        std::vector<std::size_t> order(rows);
        std::iota(order.begin(), order.end(), std::size_t{0});
        for (std::size_t i = rows - 1; i > 0; --i)
            std::swap(order[i], order[*rc::gen::inRange<std::size_t>(0, i + 1)]);
        const auto noise = *rc::gen::container<std::vector<int>>(rows * columns, rc::gen::inRange(0, 100));
        std::vector<double> weights(noise.begin(), noise.end());
        for (std::size_t column = 0; column < columns; ++column)
            weights[order[column] * columns + column] = 1e6;
        const Assignment assignment = largestAssignment(weights, rows, columns);
        for (std::size_t column = 0; column < columns; ++column)
            RC_ASSERT(assignment[order[column]] == column);
    }));
}

} // namespace
} // namespace Varnel
