#include "Varnel/Refinement/ParallelProgress.h"

#include <gtest/gtest.h>

#include <vector>

namespace Varnel {
namespace {

TEST(ParallelProgress, IsThatOfTheSlowestJob) {
    std::vector<double> values;
    ParallelProgress progress(2, [&](double share) { values.push_back(share); });
    const auto first = progress.job(0);
    const auto second = progress.job(1);
    first(0.5);
    second(0.25);
    second(0.75);
    first(0.875);
    EXPECT_EQ(values, (std::vector<double>{0, 0.25, 0.5, 0.75}));
}

TEST(ParallelProgress, WaitsForNobodyWhoIsThrough) {
    std::vector<double> values;
    ParallelProgress progress(2, [&](double share) { values.push_back(share); });
    progress.job(0)(0.5);
    progress.finish(1);
    progress.job(0)(0.75);
    EXPECT_EQ(values, (std::vector<double>{0, 0.5, 0.75}));
}

TEST(ParallelProgress, LeavesTheEndToItsOwner) {
    std::vector<double> values;
    ParallelProgress progress(1, [&](double share) { values.push_back(share); });
    progress.job(0)(0.5);
    progress.job(0)(1);
    progress.finish(0);
    EXPECT_EQ(values, std::vector<double>{0.5});
}

TEST(ParallelProgress, IsNothingWhenNobodyListens) {
    ParallelProgress progress(1, {});
    EXPECT_FALSE(progress.job(0));
    progress.finish(0);
}

} // namespace
} // namespace Varnel
