// Linear problems in room that an earlier one left.
#include "fit/LinearProblem.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace kiv {
namespace {

constexpr std::size_t kParameters = 3;
using Row = std::array<double, kParameters>;

// Rows with misfits 1, 2, 3, ...
void Fill(LinearProblem& problem, const std::vector<Row>& rows) {
    ASSERT_TRUE(problem.Begin(Memory(), rows.size(), kParameters));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        problem.SetRow(i, rows[i].data(), rows[i].data(), 1.0);
        problem.SetMisfit(i, static_cast<double>(i + 1), 1.0);
    }
    const std::array<std::size_t, kParameters> to_hold{2, 1, 0};
    ASSERT_TRUE(problem.Decompose(to_hold, Memory()));
}

TEST(LinearProblem, KeepsNothingOfTheOneBefore) {
    LinearProblem problem;
    Fill(problem, {{1.0, 2.0, 0.5}, {0.0, 3.0, 1.0}, {2.0, 0.0, 7.0}});
    EXPECT_EQ(problem.rank(), 3U);
    Fill(problem, {{2.0, 0.0, 0.0}, {0.0, 4.0, 0.0}});  // fewer than parameters
    ASSERT_EQ(problem.rank(), 2U);
    ASSERT_EQ(problem.held().size(), 1U);
    EXPECT_EQ(problem.held()[0].parameter, 2U);
    Fill(problem, {{2.0, 0.0, 0.0}, {0.0, 4.0, 0.0}, {0.0, 0.0, 5.0}});
    ASSERT_EQ(problem.rank(), 3U);
    const std::vector<double> change = problem.Solve(1e9).change;
    EXPECT_NEAR(change[0], 1.0 / 2.0, 1e-15);
    EXPECT_NEAR(change[1], 2.0 / 4.0, 1e-15);
    EXPECT_NEAR(change[2], 3.0 / 5.0, 1e-15);
}

// New misfits alone give what a decomposition of them gives.
TEST(LinearProblem, ProjectsNewMisfits) {
    LinearProblem problem;
    Fill(problem, {{1.0, 0.0, 0.0}, {1.0, 1.0, 0.0}, {0.0, 0.0, 4.0}, {0.0, 0.0, 4.0}});
    const double misfits[] = {3.0, 1.0, 8.0, 16.0};
    for (std::size_t i = 0; i < 4; ++i) problem.SetMisfit(i, misfits[i], 1.0);
    problem.Project();
    const std::vector<double> change = problem.Solve(1e9).change;
    EXPECT_NEAR(change[0], 3.0, 1e-14);
    EXPECT_NEAR(change[1], -2.0, 1e-14);
    EXPECT_NEAR(change[2], 3.0, 1e-14);
}

}  // namespace
}  // namespace kiv
