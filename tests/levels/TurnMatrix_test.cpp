// The matrix of a turn about y.
#include "levels/TurnMatrix.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kiv {
namespace {

// R turns the angular momentum: R Pz = (cos Pz - sin Px) R, R Px = (cos Px + sin Pz) R; with the
// closed form R(J,J) = cos(theta/2)^2J and a unit column that leaves nothing open. Some columns of
// each J, each held to 1e-13 of the size of the elements of P.
TEST(TurnMatrix, TurnsTheAngularMomentum) {
    constexpr int kMaxJ = 120;
    const Memory memory;
    TurnMatrix R;
    ASSERT_TRUE(R.Fit(memory, kMaxJ));
    for (const double theta : {0.0, 1e-5, 0.035, 1.2, 1.5707963267948966, 3.1, 3.5, -0.4}) {
        R.Begin(std::cos(theta / 2), std::sin(theta / 2));
        for (const int J : {0, 1, 2, 3, 10, 40, 41, 120}) {
            R.Load(J);
            const auto root = [&](int K) { return 0.5 * std::sqrt(J * (J + 1.0) - K * (K + 1.0)); };
            const auto at = [&](int m, int k) {
                return std::abs(m) > J || std::abs(k) > J ? 0.0 : R.Column(k)[m + J];
            };
            const double c = std::cos(theta), s = std::sin(theta);
            EXPECT_NEAR(at(J, J), std::pow(std::cos(theta / 2), 2 * J), 1e-13);
            for (int k = -J; k <= J; k += J < 10 ? 1 : 7) {
                double norm = 0.0;
                for (int m = -J; m <= J; ++m) {
                    const double px = root(m) * at(m + 1, k) + root(m - 1) * at(m - 1, k);
                    const double right = root(k) * at(m, k + 1) + root(k - 1) * at(m, k - 1);
                    EXPECT_NEAR(k * at(m, k), c * m * at(m, k) - s * px, 1e-13 * (J + 1));
                    EXPECT_NEAR(right, c * px + s * m * at(m, k), 1e-13 * (J + 1));
                    norm += at(m, k) * at(m, k);
                }
                EXPECT_NEAR(norm, 1.0, 1e-13) << theta << " " << J << " " << k;
            }
        }
    }
}

}  // namespace
}  // namespace kiv
