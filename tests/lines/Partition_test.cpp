#include "kiv/partition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "lines/StateEnergies.h"
#include "support/Rotor.h"
#include "support/SlowRotor.h"

namespace kiv {
namespace {

// kT is the temperature.
Settings At(double kT, int max_J) {
    Settings settings;
    settings.max_J = max_J;
    settings.lines.temperature = kT;
    settings.lines.energy_per_kelvin = 1.0;
    return settings;
}

Model OneState(const State& state) {
    Model model;
    model.one_state = true;
    model.lower() = state;
    return model;
}

Partition Sum(const Model& model, const Settings& settings) {
    Workspace work;
    return SumPartition(model, settings, work).value();
}

constexpr int kLastJ = 14;  // where the sums of these tests are complete

// Energies by J and rank.
using SlowTop = std::vector<std::vector<double>>;

SlowTop SolveSlowly(const State& state) {
    SlowTop top;
    for (int J = 0; J <= kLastJ; ++J) top.push_back(SlowSolve(J, SlowTurn(state)).energy);
    return top;
}

double LowestOf(const SlowTop& top) {
    double lowest = top[0][0];
    for (const std::vector<double>& energy : top) lowest = std::min(lowest, energy[0]);
    return lowest;
}

// The levels up to J, one by one, above E0.
double SlowSum(const SlowTop& top, const Settings& settings, int last_J, double E0) {
    double sum = 0.0;
    for (int J = 0; J <= last_J; ++J) {
        for (int rank = 0; rank <= 2 * J; ++rank) {
            const bool ka_odd = (rank + 1) / 2 % 2 != 0, kc_odd = (J - rank / 2) % 2 != 0;
            const int place = ka_odd ? (kc_odd ? 2 : 3) : (kc_odd ? 1 : 0);
            const double E = top[static_cast<std::size_t>(J)][static_cast<std::size_t>(rank)] - E0;
            sum += settings.lines.spin_weights[static_cast<std::size_t>(place)] * (2 * J + 1) *
                   std::exp(-E / settings.lines.temperature);
        }
    }
    return sum;
}

struct PartitionCase {
    const char* name;
    State state;
    std::array<std::int32_t, 4> weights;
};

std::vector<PartitionCase> PartitionCases() {
    const State wide = StdRotor()
                           .Set(Constant::DJ, 2e-4)
                           .Set(Constant::dJ, 1e-4)
                           .Set(Constant::dK, -3e-5)
                           .Set(Constant::HK, 1e-7);
    State symmetric = wide;
    symmetric.reduction = Reduction::S;
    return {{"rigid", StdRotor(), {1, 1, 1, 1}},
            {"weights", StdRotor(), {5, 7, 3, 0}},
            {"no_ground", StdRotor(), {0, 3, 0, 1}},
            {"distorted", wide, {1, 1, 1, 1}},
            {"s_reduction", symmetric, {1, 0, 3, 0}},
            {"linear_term", StdRotor().Set(Constant::PZ, 30.0), {1, 1, 1, 1}},
            {"complex", StdRotor().Set(Constant::PXPY, 0.5).Set(Constant::PY, 0.3), {2, 1, 2, 1}},
            {"tilted", StdRotor({35.0, 25.0, -50.0}), {1, 2, 3, 4}},
            {"tilted_distorted", StdRotor({0.0, 25.0, 0.0}).Set(Constant::DJ, 1e-4), {1, 1, 1, 1}}};
}

TEST(Partition, IsTheSumOverSlowLevels) {
    for (const PartitionCase& c : PartitionCases()) {
        SCOPED_TRACE(c.name);
        Settings settings = At(20.0, 5);
        settings.lines.spin_weights = c.weights;
        const Partition partition = Sum(OneState(c.state), settings);
        const SlowTop top = SolveSlowly(c.state);
        const auto slow = [&](int J) { return SlowSum(top, settings, J, LowestOf(top)); };
        EXPECT_NEAR(partition.up_to_max_J, slow(5), 1e-9 * slow(5));
        EXPECT_NEAR(partition.Q, slow(kLastJ), 2e-7 * slow(kLastJ));
        EXPECT_GE(slow(partition.J_needed), 0.999 * slow(kLastJ));
        EXPECT_LT(slow(partition.J_needed - 1), 0.999 * slow(kLastJ));
        EXPECT_FALSE(partition.turned_over || partition.cut_short);
    }
}

TEST(Partition, HoldsBothStates) {
    Model model = OneState(StdRotor());
    model.one_state = false;
    model.upper() = State::Rigid(8.0, 5.0, 4.0);
    const Settings settings = At(20.0, 3);
    const SlowTop lower = SolveSlowly(model.lower()), upper = SolveSlowly(model.upper());
    for (const double origin : {40.0, -40.0, 1e6, -1e6}) {
        model.origin.value = origin;
        const double E0 = std::min(origin, 0.0);
        const double slow =
            SlowSum(lower, settings, kLastJ, E0) + SlowSum(upper, settings, kLastJ, E0 - origin);
        EXPECT_NEAR(Sum(model, settings).Q, slow, 2e-7 * slow) << origin;
    }
}

TEST(Partition, ApproachesTheClassicalLimit) {
    // Q = Qcl (1 + quantum correction), which vanishes as A/kT
    const struct {
        double A, B, C;
    } tops[] = {{10.0, 6.1, 4.3}, {300.0, 6.0, 5.9}, {7.0, 7.0, 3.5}};
    for (const auto& [A, B, C] : tops) {
        const double kT = 60.0 * A;
        const double classical = std::sqrt(3.14159265358979 / (A * B * C) * kT * kT * kT);
        EXPECT_NEAR(ClassicalPartition(A, B, C, kT), classical, 1e-12 * classical);
        const Partition partition = Sum(OneState(State::Rigid(A, B, C)), At(kT, 30));
        EXPECT_NEAR(partition.Q, classical, 0.01 * classical);
        for (const int J : {10, 30, 60}) {
            const Partition part = Sum(OneState(State::Rigid(A, B, C)), At(kT, J));
            EXPECT_NEAR(part.complete(), ClassicalShare(A, B, C, kT, J), 0.01);
        }
    }
    EXPECT_NEAR(ClassicalShare(1.0, 1.0, 1.0, 100.0, 9.0), std::erf(1.0) - 0.415107497420594,
                1e-12);
}

TEST(Partition, EndsWhereDistortionTurnsOver) {
    // B J(J+1) - DJ (J(J+1))^2 of a spherical top falls beyond J(J+1) = B / (2 DJ)
    const State state = State::Rigid(1.0, 1.0, 1.0).Set(Constant::DJ, 1e-3);
    const Partition hot = Sum(OneState(state), At(1000.0, 5));
    EXPECT_TRUE(hot.turned_over);
    EXPECT_EQ(hot.last_J, 22);
    const Partition cold = Sum(OneState(state), At(10.0, 5));
    EXPECT_FALSE(cold.turned_over);
    EXPECT_LT(cold.last_J, 22);
}

// Threads change nothing, nor do levels that are there already, but for rounding.
TEST(Partition, IsTheSameOnThreadsAndWithKnownLevels) {
    Workspace three(Memory(), 3);
    for (const PartitionCase& c : PartitionCases()) {
        SCOPED_TRACE(c.name);
        Model model = OneState(c.state);
        model.upper() = State::Rigid(8.0, 5.0, 4.0);
        model.origin.value = 40.0;
        model.one_state = c.weights[1] == 1;
        Settings settings = At(900.0, 5);
        settings.lines.spin_weights = c.weights;
        const Partition whole = Sum(model, settings);
        EXPECT_GT(whole.last_J, 48);  // far enough to be shared
        const Partition shared = SumPartition(model, settings, three).value();
        EXPECT_EQ(shared.Q, whole.Q);
        EXPECT_EQ(shared.last_J, whole.last_J);
        for (const int max_J : {0, 5, 22, 100}) {
            const Levels lower = SolveLevels(model.lower(), max_J, three).value();
            const Levels upper = SolveLevels(model.upper(), max_J, three).value();
            PartitionOptions options;
            options.levels[kLower] = &lower;
            options.levels[kUpper] = &upper;
            const Partition known = SumPartition(model, settings, three, options).value();
            EXPECT_NEAR(known.Q, whole.Q, 1e-12 * whole.Q);
            EXPECT_NEAR(known.up_to_max_J, whole.up_to_max_J, 1e-12 * whole.Q);
            EXPECT_EQ(known.J_needed, whole.J_needed);
        }
    }
}

// Tops whose blocks are hard to cut: close to each symmetric limit, heavy, and with distortion that
// lets levels of high K fall.
std::vector<PartitionCase> HardCases() {
    return {{"near_prolate", State::Rigid(12.0, 1.001, 1.0).Set(Constant::dK, 1e-6), {1, 1, 1, 1}},
            {"near_oblate", State::Rigid(9.0, 8.999, 4.6).Set(Constant::DK, 1e-4), {9, 7, 3, 2}},
            {"spherical", State::Rigid(5.0, 5.0, 5.0), {1, 1, 1, 1}},
            {"most_asymmetric", State::Rigid(9.0, 6.0, 3.0), {0, 0, 3, 5}},
            {"heavy", State::Rigid(0.4, 0.1, 0.09), {1, 3, 1, 3}},
            {"high_K_falls", State::Rigid(0.4, 0.1, 0.09).Set(Constant::DK, 2e-4), {1, 1, 1, 1}},
            {"high_J_falls", State::Rigid(0.4, 0.1, 0.09).Set(Constant::DJ, 2e-6), {1, 1, 1, 1}},
            {"cold", State::Rigid(900.0, 700.0, 350.0), {0, 1, 0, 1}}};
}

// Rows that the blocks of high J are solved without.
TEST(Partition, LeavesOutNothingThatCounts) {
    Workspace one, three(Memory(), 3);
    for (const PartitionCase& c : HardCases()) {
        SCOPED_TRACE(c.name);
        const Model model = OneState(c.state);
        Settings settings = At(200.0, 10);
        settings.lines.spin_weights = c.weights;
        const Partition whole = Sum(model, settings);
        for (const int max_J : {10, 30}) {
            const Levels first = SolveEnergies(c.state, max_J, one).value();
            PartitionOptions options;
            options.levels[kLower] = &first;
            const Partition cut = SumPartition(model, settings, one, options).value();
            EXPECT_EQ(SumPartition(model, settings, three, options).value().Q, cut.Q);
            EXPECT_NEAR(cut.Q, whole.Q, 1e-13 * whole.Q);
            EXPECT_EQ(cut.last_J, whole.last_J);
            EXPECT_EQ(cut.J_needed, whole.J_needed);
            EXPECT_EQ(cut.turned_over, whole.turned_over);
        }
    }
}

TEST(Partition, EnergiesUpToALimitAreThoseOfAllRows) {
    constexpr int kHighestJ = 63;
    Workspace work;
    std::size_t left_out = 0;
    for (const PartitionCase& c : HardCases()) {
        SCOPED_TRACE(c.name);
        const Levels all = SolveEnergies(c.state, kHighestJ, work).value();
        const double highest = all.Energy(50, 40);
        const Levels first = SolveEnergies(c.state, 5, work).value();
        std::vector<std::vector<double>> of_J(kHighestJ + 4);
        const auto take = [&](int J, std::span<const double> energies) {
            of_J.at(static_cast<std::size_t>(J)).assign(energies.begin(), energies.end());
            return 1.0 * J;
        };
        StateEnergies energies(c.state, &first, true, take, work);
        energies.Limit({highest, highest / 40.0});
        for (int J = 0; J <= kHighestJ; ++J) {
            ASSERT_EQ(energies.Of(J).value().sum, 1.0 * J);
            const std::vector<double>& some = of_J[static_cast<std::size_t>(J)];
            const std::span<const double> known =
                all.energy.Part(Levels::Index(J, 0), static_cast<std::size_t>(2 * J + 1));
            left_out += known.size() - some.size();
            EXPECT_EQ(energies.Of(J).value().lowest, *std::min_element(some.begin(), some.end()));
            std::size_t rank = 0;
            do {
                ASSERT_LT(rank, some.size());
                EXPECT_NEAR(some[rank], known[rank], 1e-13 * std::fabs(known.back()) + 1e-12);
            } while (++rank < known.size() && known[rank] <= highest);
        }
    }
    EXPECT_GT(left_out, 1000U);
}

// Memory that is enough for one thread is enough for any number of them.
TEST(Partition, ThreadsNeedNoMoreMemoryThanOne) {
    const Model model = OneState(StdRotor().Set(Constant::DJ, 1e-6));
    const Settings settings = At(900.0, 5);
    std::int64_t bytes = 1 << 14;
    const auto sum = [&](int threads) {
        Workspace work(Memory(bytes), threads);
        return SumPartition(model, settings, work);
    };
    while (!sum(1)) bytes += bytes / 4;
    const auto many = sum(16);
    ASSERT_TRUE(many.ok());
    EXPECT_EQ(many.value().Q, sum(1).value().Q);
}

// From levels that are there: their part to the last bits, the rest as good as the tail is small.
TEST(Partition, FromLevelsHasAClassicalTail) {
    Model model = OneState(State::Rigid(9.0, 1.6, 1.35).Set(Constant::DJ, 1e-6));
    model.upper() = State::Rigid(8.8, 1.55, 1.3);
    model.origin.value = 300.0;
    Workspace work;
    for (const bool one_state : {true, false}) {
        for (const int max_J : {10, 40, 60, 75}) {
            model.one_state = one_state;
            Settings settings = At(950.0, max_J);
            settings.lines.spin_weights = {1, 0, 1, 0};
            const Levels lower = SolveLevels(model.lower(), max_J, work).value();
            const Levels upper = SolveLevels(model.upper(), max_J, work).value();
            const Partition whole = Sum(model, settings);
            const Partition made = PartitionOf(model, settings, lower, upper, work).value();
            EXPECT_NEAR(made.up_to_max_J, whole.up_to_max_J, 1e-9 * whole.Q);
            const double missing = 1.0 - whole.complete();
            EXPECT_NEAR(made.complete(), whole.complete(), 2e-2 * missing + 1e-9) << max_J;
            EXPECT_NEAR(made.J_needed, whole.J_needed, max_J < whole.J_needed ? 1 : 0);
        }
    }
    const State falls = State::Rigid(1.0, 1.0, 1.0).Set(Constant::DJ, 1e-3);
    const Levels levels = SolveLevels(falls, 30, work).value();
    EXPECT_TRUE(
        PartitionOf(OneState(falls), At(1000.0, 30), levels, levels, work).value().turned_over);
}

TEST(Partition, RefusesWhatHasNone) {
    Workspace work;
    const Model model = OneState(StdRotor());
    const auto code = [&](const Model& of, const Settings& settings) {
        const auto partition = SumPartition(of, settings, work);
        return partition.ok() ? std::optional<ErrorCode>() : partition.error().code;
    };
    EXPECT_EQ(code(model, At(0.0, 5)), ErrorCode::OutOfRange);
    EXPECT_EQ(code(model, At(5.0, -1)), ErrorCode::OutOfRange);
    EXPECT_EQ(code(OneState(State::Rigid(1.0, 0.0, 1.0)), At(5.0, 5)), ErrorCode::OutOfRange);
    Settings weightless = At(5.0, 5);
    weightless.lines.spin_weights = {0, 0, 0, 0};
    EXPECT_EQ(Sum(model, weightless).Q, 0.0);
    Workspace small{Memory(1000)};
    EXPECT_EQ(SumPartition(model, At(5.0, 5), small).error().code, ErrorCode::NoMemory);
}

}  // namespace
}  // namespace kiv
