// Eigenpairs, eigenvalues and counts of tridiagonal matrices against the closed form of a constant
// one: d + 2 e cos(k pi / (n + 1)), k = n..1 ascending for e > 0, vectors sin(j k pi / (n + 1)).
#include "linalg/Eigenpair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <vector>

#include "linalg/Tridiagonal.h"

namespace kiv {
namespace {

constexpr int kN = 20;
constexpr double kD = 3.0, kE = 0.7, kAbove = 100.0;

double Value(int k, int n = kN) { return kD + 2.0 * kE * std::cos(k * std::numbers::pi / (n + 1)); }

std::size_t At(int row, std::size_t lane) {
    return static_cast<std::size_t>(row) * kPairLanes + lane;
}

// The same matrix in all lanes but the last, which has a row less.
TEST(Eigenpair, ConvergesToClosedForm) {
    constexpr std::size_t kShort = kPairLanes - 1;
    std::vector<double> d(kPairLanes * kN, kD), e(kPairLanes * kN, kE), room(4 * kPairLanes * kN);
    d[At(kN - 1, kShort)] = kAbove;
    e[At(kN - 2, kShort)] = 0.0;
    for (int k = 1; k + kPairLanes < kN; ++k) {
        std::vector<EigenpairSet> sets(3);
        std::vector<double> z(sets.size() * kPairLanes * kN);
        const auto of = [&](std::size_t set, std::size_t lane) {
            return 1 + (k + static_cast<int>(5 * set + lane)) % (kN - 1);
        };
        for (std::size_t set = 0; set < sets.size(); ++set) {
            sets[set].z = &z[set * kPairLanes * kN];
            for (std::size_t lane = 0; lane < kPairLanes; ++lane) {
                sets[set].value[lane] = Value(of(set, lane), lane == kShort ? kN - 1 : kN) + 3e-4;
            }
        }
        for (int step = 0; step < 4; ++step) {
            ImproveEigenpairs({kN, d.data(), e.data()}, sets, room.data());
        }
        std::vector<EigenpairSet> quotients = sets;
        SetRayleighQuotients({kN, d.data(), e.data()}, quotients);
        for (std::size_t set = 0; set < sets.size(); ++set) {
            for (std::size_t lane = 0; lane < kPairLanes; ++lane) {
                const int n = lane == kShort ? kN - 1 : kN, i = of(set, lane);
                EXPECT_NEAR(sets[set].value[lane], Value(i, n), 1e-14);
                EXPECT_NEAR(sets[set].change[lane], 0.0, 1e-14);
                EXPECT_EQ(sets[set].below[lane], n - i);
                EXPECT_NEAR(quotients[set].value[lane], Value(i, n), 1e-14);
                const double scale =
                    std::sqrt(2.0 / (n + 1)) *
                    (sets[set].z[lane] < 0.0 ? -1.0 : 1.0);  // sin(i pi / (n + 1)) is positive
                for (int j = 1; j <= kN; ++j) {
                    const double sine = std::sin(j * i * std::numbers::pi / (n + 1));
                    EXPECT_NEAR(sets[set].z[At(j - 1, lane)], j > n ? 0.0 : scale * sine, 1e-12);
                }
            }
        }
    }
}

// Rows that nothing couples: unit vectors, and pivots that are exactly 0.
TEST(Eigenpair, TakesDiagonalMatrices) {
    std::vector<double> d, e(3 * kPairLanes, 0.0), room(12 * kPairLanes), z(3 * kPairLanes);
    for (const double x : {1.0, 2.0, 4.0}) d.insert(d.end(), kPairLanes, x);
    EigenpairSet set{z.data(), {2.0, 1.0, 4.0, 2.0}};
    ImproveEigenpairs({3, d.data(), e.data()}, {&set, 1}, room.data());
    const int place[] = {1, 0, 2, 1};
    EXPECT_EQ(set.below, (LaneCounts{1, 0, 2, 1}));
    for (std::size_t lane = 0; lane < kPairLanes; ++lane) {
        EXPECT_EQ(set.change[lane], 0.0);
        for (int row = 0; row < 3; ++row) {
            EXPECT_EQ(z[At(row, lane)], row == place[lane] ? 1.0 : 0.0);
        }
    }
    set.value = {1.0, 1.0, 1.0, 0.5};
    ImproveEigenpairs({1, d.data(), nullptr}, {&set, 1}, room.data());
    EXPECT_EQ(z[3], 1.0);
    EXPECT_EQ(set.change[3], 0.5);
}

// Four matrices: two constant ones, one of two rows (1 and 5), one of none.
struct FourMatrices {
    std::vector<double> d = std::vector<double>(kPairLanes * kN, kAbove);
    std::vector<double> e2 = std::vector<double>(kPairLanes * kN, 0.0);
    LaneMatrices lanes{kN, d.data(), e2.data()};

    FourMatrices() {
        for (int i = 0; i < kN; ++i) {
            d[At(i, 0)] = kD;
            if (i > 0) e2[At(i, 0)] = kE * kE;
            if (i >= kN - 1) continue;
            d[At(i, 3)] = kD;
            if (i > 0) e2[At(i, 3)] = kE * kE;
        }
        d[At(0, 1)] = 1.0;
        d[At(1, 1)] = 5.0;
    }
};

TEST(Eigenpair, CountsEigenvalues) {
    const FourMatrices matrices;
    for (int k = 1; k <= kN; ++k) {
        const double x = Value(k);  // below it lie kN - k
        const std::array<double, 5> shifts{x - 1e-9, x + 1e-9, 0.5, 50.0, Value(k, kN - 1) - 1e-9};
        std::array<LaneCounts, 5> counts;
        CountEigenvalues(matrices.lanes, shifts, counts);
        const int of_two = x > 5.0 ? 2 : x > 1.0 ? 1 : 0;
        EXPECT_EQ(counts[0][0], kN - k);
        EXPECT_EQ(counts[1][0], kN - k + 1);
        EXPECT_EQ(counts[1][1], of_two);
        EXPECT_EQ(counts[2], (LaneCounts{0, 0, 0, 0}));
        EXPECT_EQ(counts[3], (LaneCounts{kN, 2, 0, kN - 1}));
        EXPECT_EQ(counts[4][3], std::max(kN - 1 - k, 0));
    }
}

// Any number of sets at once, each as if it were alone.
TEST(Eigenpair, FindsAllValuesOfSetsOfFourMatrices) {
    FourMatrices alone;
    TridiagonalValues({&alone.lanes, 1});
    const auto sorted = [&](std::size_t lane) {
        std::vector<double> values;
        for (int i = 0; i < kN; ++i) values.push_back(alone.d[At(i, lane)]);
        std::sort(values.begin(), values.end());
        return values;
    };
    const std::vector<double> first = sorted(0), second = sorted(1), fourth = sorted(3);
    for (int k = 1; k <= kN; ++k) {
        EXPECT_NEAR(first[static_cast<std::size_t>(kN - k)], Value(k), 1e-12);
        if (k == kN) continue;
        EXPECT_NEAR(fourth[static_cast<std::size_t>(kN - 1 - k)], Value(k, kN - 1), 1e-12);
    }
    EXPECT_NEAR(second[0], 1.0, 1e-12);
    EXPECT_NEAR(second[1], 5.0, 1e-12);
    EXPECT_EQ(sorted(2), std::vector<double>(kN, kAbove));

    // of matrices that take other numbers of sweeps
    constexpr double kBeside[] = {1.0, 0.125, 3.0, 1.0, 0.01, 0.5, 7.0};
    for (std::size_t num = 1; num <= std::size(kBeside); ++num) {
        std::vector<FourMatrices> sets(num), each(num);
        std::vector<LaneMatrices> lanes;
        for (std::size_t set = 0; set < num; ++set) {
            for (double& x : sets[set].e2) x *= kBeside[set];
            for (double& x : each[set].e2) x *= kBeside[set];
            lanes.push_back({kN, sets[set].d.data(), sets[set].e2.data()});
            each[set].lanes = {kN, each[set].d.data(), each[set].e2.data()};
            TridiagonalValues({&each[set].lanes, 1});
        }
        TridiagonalValues(lanes);
        for (std::size_t set = 0; set < num; ++set) {
            EXPECT_EQ(sets[set].d, each[set].d) << set << " of " << num;
        }
    }
}

}  // namespace
}  // namespace kiv
