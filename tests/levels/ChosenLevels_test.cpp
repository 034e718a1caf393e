// Levels that are solved by themselves against all levels of their state.
#include "levels/ChosenLevels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace kiv {
namespace {

constexpr int kMaxJ = 24;

struct Case {
    const char* name;
    std::vector<std::pair<Constant, double>> constants;
    double change;      // of every constant from one solution to the next, as a fraction
    bool is_irregular;  // labels follow the energy against their symmetry somewhere
};

using C = Constant;
const Case kCases[] = {
    {"near prolate",
     {{C::A, 60778.0},
      {C::B, 10318.0},
      {C::C, 8799.0},
      {C::DJ, 1e-4},
      {C::DJK, -1e-3},
      {C::DK, 1e-2},
      {C::dJ, 1e-5},
      {C::dK, 1e-4}},
     1e-6,
     false},
    {"most asymmetric, large steps",
     {{C::A, 3000.0}, {C::B, 2000.0}, {C::C, 1000.0}, {C::hK, 1e-9}, {C::LK, 1e-12}},
     0.05,
     false},
    {"oblate", {{C::A, 5000.0}, {C::B, 4900.0}, {C::C, 2500.0}, {C::DK, 1e-3}}, 1e-3, false},
    {"symmetric top",
     {{C::A, 9000.0}, {C::B, 3000.0}, {C::C, 3000.0}, {C::DJK, 1e-3}},
     1e-5,
     false},
    {"turned over", {{C::A, 9000.0}, {C::B, 3100.0}, {C::C, 2900.0}, {C::DK, 9.0}}, 1e-4, true},
};

State StateOf(const Case& of, double factor) {
    State state;
    for (const auto& [constant, value] : of.constants) state.Set(constant, value * factor);
    return state;
}

// The levels of a state that have the number of each chosen one in the class of its label.
std::vector<std::size_t> OfSymmetry(const std::vector<std::size_t>& chosen, const Levels& all) {
    std::vector<std::size_t> of;
    for (const std::size_t level : chosen) {
        const int J = Levels::JOf(level);
        const auto odd = [&](std::size_t i) { return LabelOdd(kAllC2, all.ka[i], all.kc[i]); };
        int before = 0;
        for (std::size_t i = Levels::Index(J, 0); i < level; ++i) before += odd(i) == odd(level);
        std::size_t i = Levels::Index(J, 0);
        for (; all.odd[i] != odd(level) || before-- > 0; ++i) {
        }
        of.push_back(i);
    }
    return of;
}

void ExpectLevels(const State& state, const std::vector<std::size_t>& chosen,
                  const Levels& levels) {
    Workspace work;
    const Result<Levels> all = SolveLevels(state, kMaxJ, work);
    ASSERT_TRUE(all);
    for (const std::size_t level : chosen) {
        const int J = Levels::JOf(level);
        double largest = 0.0;
        for (int r = 0; r <= 2 * J; ++r) {
            largest = std::max(largest, std::fabs(all.value().Energy(J, r)));
        }
        EXPECT_NEAR(levels.energy[level], all.value().energy[level], 1e-14 * largest)
            << "level " << level;
        EXPECT_EQ(levels.odd[level], all.value().odd[level]);
        const int rank = static_cast<int>(level - Levels::Index(J, 0));
        const auto expected = all.value().Derivatives(J, rank);
        const auto found = levels.Derivatives(J, rank);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const double size = std::pow(J + 1.0, i < 3 ? 2 : 8);
            EXPECT_NEAR(found[i], expected[i], 1e-9 * size) << "level " << level << ", " << i;
        }
    }
}

TEST(ChosenLevels, AreThoseOfTheWholeState) {
    for (const Case& of : kCases) {
        SCOPED_TRACE(of.name);
        std::mt19937 random(7);
        std::vector<std::size_t> chosen;
        for (std::size_t level = 0; level < Levels::Index(kMaxJ + 1, 0); ++level) {
            if (random() % 3 == 0) chosen.push_back(level);
        }
        Workspace work;
        Report silent;
        Levels levels;
        ChosenLevels solver;
        ASSERT_TRUE(levels.ReserveFigures(work.memory(), kMaxJ, Turn(StateOf(of, 1.0)).NumOn()));
        ASSERT_TRUE(solver.Choose(chosen, kMaxJ, work.memory()));
        double factor = 1.0;
        for (int step = 0; step < 4; ++step, factor *= 1.0 + of.change) {
            const State state = StateOf(of, factor);
            const TurnedState turned = Turn(state);
            ASSERT_TRUE(ChosenLevels::CanSolve({&turned}));
            const LevelTask task{{&turned}, kMaxJ};
            ASSERT_TRUE(solver.Solve(task, work, silent, levels));
            const Result<Levels> all = SolveLevels(state, kMaxJ, work);
            const std::vector<std::size_t> of_symmetry = OfSymmetry(chosen, all.value());
            EXPECT_EQ(of_symmetry == chosen, !of.is_irregular);
            for (std::size_t i = 0; i < chosen.size() && solver.irregular().empty(); ++i) {
                const double energy = all.value().energy[of_symmetry[i]];
                EXPECT_NEAR(levels.energy[chosen[i]], energy, 1e-13 * (1.0 + energy)) << chosen[i];
            }
            ASSERT_TRUE(solver.ConfirmRanks(task, work, levels));
            ExpectLevels(state, chosen, levels);
            EXPECT_EQ(solver.irregular().empty(), !of.is_irregular);
        }
    }
}

// Steps that exchange the order of all levels: what was followed is found not to be itself.
TEST(ChosenLevels, SurviveConstantsThatHaveNothingInCommon) {
    Workspace work;
    Report silent;
    Levels levels;
    ChosenLevels solver;
    std::vector<std::size_t> chosen;
    for (std::size_t level = 100; level < Levels::Index(kMaxJ + 1, 0); level += 7) {
        chosen.push_back(level);
    }
    ASSERT_TRUE(levels.ReserveFigures(work.memory(), kMaxJ, 3));
    ASSERT_TRUE(solver.Choose(chosen, kMaxJ, work.memory()));
    const std::array<double, 3> kStates[] = {
        {9.0, 3.0, 1.0}, {1.0, 2.0, 8.0}, {5.0, 5.0, 5.0}, {3.0, 9.0, 1.0}};
    for (const auto& [a, b, c] : kStates) {
        State state;
        state.Set(Constant::A, a);
        state.Set(Constant::B, b);
        state.Set(Constant::C, c);
        const TurnedState turned = Turn(state);
        ASSERT_TRUE(solver.Solve({{&turned}, kMaxJ}, work, silent, levels));
        ASSERT_TRUE(solver.ConfirmRanks({{&turned}, kMaxJ}, work, levels));
        if (a == b) continue;  // a spherical top: every vector is as good as another
        ExpectLevels(state, chosen, levels);
    }
}

// A constant that hardly changes moves the energies to first order and leaves all else; the next
// ones count from the same vectors.
TEST(ChosenLevels, ShiftWithConstantsThatHardlyChange) {
    Workspace work;
    Report silent;
    Levels levels;
    ChosenLevels solver;
    std::vector<std::size_t> chosen;
    for (std::size_t level = 0; level < Levels::Index(kMaxJ + 1, 0); level += 5) {
        chosen.push_back(level);
    }
    State state = StateOf(kCases[0], 1.0);
    const double start = state.value(C::DK);
    ASSERT_TRUE(levels.ReserveFigures(work.memory(), kMaxJ, Turn(state).NumOn()));
    ASSERT_TRUE(solver.Choose(chosen, kMaxJ, work.memory()));
    const auto is_solved_anew = [&](double change) {
        state.Set(C::DK, start + change);
        const TurnedState turned = Turn(state);
        const LevelTask task{{&turned}, kMaxJ};
        const Result<bool> is_new = solver.Solve(task, work, silent, levels);
        EXPECT_TRUE(is_new);
        const Result<bool> has_other_ranks = solver.ConfirmRanks(task, work, levels);
        EXPECT_TRUE(has_other_ranks && !has_other_ranks.value());
        return is_new.value();
    };
    ASSERT_TRUE(is_solved_anew(0.0));
    const std::vector<double> before(levels.energy.begin(), levels.energy.end());
    std::size_t of_DK = 0;
    while (levels.derivative_of[of_DK] != C::DK) ++of_DK;
    for (const double change : {3e-13, -2e-13, 0.0}) {
        EXPECT_FALSE(is_solved_anew(change));
        double largest = 0.0;
        for (const std::size_t level : chosen) {
            const int J = Levels::JOf(level), rank = static_cast<int>(level - Levels::Index(J, 0));
            const double moved = change * levels.Derivatives(J, rank)[of_DK];
            largest = std::max(largest, std::fabs(moved));
            EXPECT_NEAR(levels.energy[level] - before[level], moved, 1.5e-8) << level;
        }
        EXPECT_GE(largest, std::fabs(change) * 2e5);
    }
    EXPECT_TRUE(is_solved_anew(1e-6));
    ExpectLevels(state, chosen, levels);
}

TEST(ChosenLevels, NeedAllSymmetryAndTridiagonalBlocks) {
    const auto can = [](const State& state) {
        const TurnedState turned = Turn(state);
        return ChosenLevels::CanSolve({&turned, NeedsComplex(state)});
    };
    State state = StateOf(kCases[0], 1.0);
    EXPECT_TRUE(can(state));
    State tilted = state;
    tilted.tilt.theta = 3.0;
    EXPECT_FALSE(can(tilted));
    State cross = state;
    cross.Set(Constant::PXPZ, 1.0);
    EXPECT_FALSE(can(cross));
    state.reduction = Reduction::S;
    state.Set(Constant::dK, 1e-6);
    EXPECT_FALSE(can(state));
}

}  // namespace
}  // namespace kiv
