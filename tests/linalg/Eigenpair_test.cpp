// Eigenpairs and counts of tridiagonal matrices against the closed form of a constant one:
// d + 2 e cos(k pi / (n + 1)), k = n..1 ascending for e > 0, vectors sin(j k pi / (n + 1)).
#include "linalg/Eigenpair.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace kiv {
namespace {

constexpr int kN = 20;
constexpr double kD = 3.0, kE = 0.7;

double Value(int k) { return kD + 2.0 * kE * std::cos(k * std::numbers::pi / (kN + 1)); }

TEST(Eigenpair, ConvergesToClosedForm) {
    const std::vector<double> d(kN, kD), e(kN, kE);
    const TridiagonalMatrix matrix{kN, d.data(), e.data()};
    std::vector<double> room(2 * kN), z(kN);
    for (int k = 1; k <= kN; ++k) {
        double value = Value(k) + 3e-4;
        for (int step = 0; step < 4; ++step) {
            value += ImproveEigenpair(matrix, value, room.data(), z.data());
        }
        EXPECT_NEAR(value, Value(k), 1e-14);
        EXPECT_NEAR(RayleighQuotient(matrix, z.data()), Value(k), 1e-14);
        const double scale = std::sqrt(2.0 / (kN + 1)) *
                             (z[0] < 0.0 ? -1.0 : 1.0);  // sin(k pi / (n + 1)) is positive
        for (int j = 1; j <= kN; ++j) {
            EXPECT_NEAR(z[static_cast<std::size_t>(j - 1)],
                        scale * std::sin(j * k * std::numbers::pi / (kN + 1)), 1e-12);
        }
    }
}

// Rows that nothing couples: unit vectors, and pivots that are exactly 0.
TEST(Eigenpair, TakesDiagonalMatrices) {
    const double d[] = {1.0, 2.0, 4.0}, e[] = {0.0, 0.0, 0.0};
    std::vector<double> room(6), z(3);
    EXPECT_NEAR(ImproveEigenpair({3, d, e}, 2.0, room.data(), z.data()), 0.0, 1e-280);
    EXPECT_EQ(z, (std::vector<double>{0.0, 1.0, 0.0}));
}

TEST(Eigenpair, CountsEigenvalues) {
    std::vector<double> d(kN, kD), e2(kN, kE * kE);
    e2[0] = 0.0;
    std::vector<double> small_d(kN, kNoRow), small_e2(kN, 0.0);  // two rows: 1 and 5
    small_d[0] = 1.0;
    small_d[1] = 5.0;
    const std::vector<double> no_d(kN, kNoRow), no_e2(kN, 0.0);
    const CountedMatrices matrices{kN,
                                   {d.data(), small_d.data(), no_d.data(), d.data()},
                                   {e2.data(), small_e2.data(), no_e2.data(), e2.data()}};
    EigenvalueCounts counts;
    for (int k = 1; k <= kN; ++k) {
        const double x = Value(k);  // below it lie kN - k
        CountEigenvalues(matrices, {x - 1e-9, x + 1e-9, 1.0, 1e10}, counts);
        EXPECT_EQ(counts[0], (std::array{kN - k, kN - k + 1, 0, kN}));
        EXPECT_EQ(counts[1], (std::array{1, x > 5.0 ? 2 : 1, 0, 2}));
        EXPECT_EQ(counts[2], (std::array{0, 0, 0, 0}));
        EXPECT_EQ(counts[3], counts[0]);
    }
}

}  // namespace
}  // namespace kiv
