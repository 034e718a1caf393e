// Tridiagonal blocks against the matrix elements between |J,K> that are folded here one by one.
#include "levels/OperatorBands.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace kiv {
namespace {

TEST(OperatorBands, MakeTheFoldedMatrix) {
    using C = Constant;
    for (const Reduction reduction : {Reduction::A, Reduction::S}) {
        State state;
        state.reduction = reduction;
        double value = 5000.0;
        for (const C c :
             {C::A, C::B, C::C, C::DJ, C::DJK, C::DK, C::dJ, C::HJ, C::HK, C::hJ, C::LK}) {
            state.Set(c, value);
            value *= c < C::DJ ? 0.7 : -0.01;
        }
        if (reduction == Reduction::A) state.Set(C::dK, 0.03);
        const TurnedState turned = Turn(state);
        const Hamiltonian H{&turned};
        ASSERT_TRUE(OperatorBands::CanHold(H));
        OperatorBands bands;
        const std::vector<int> all_J{0, 1, 2, 3, 8, 9};
        ASSERT_TRUE(bands.Build(H, all_J, Memory()));
        for (std::size_t i = 0; i < all_J.size(); ++i) {
            const int J = all_J[i];
            const auto stride = static_cast<std::size_t>(OperatorBands::Stride(J));
            std::vector<double> d(stride), e(stride);
            bands.Sum(bands.Of(H), i, J, d.data(), e.data());
            const LevelBlocks blocks = BlocksOf(kAllC2, J);
            for (int b = 0; b < blocks.num; ++b) {
                const SymBlock& block = blocks.block[b];
                for (int m = 0; m < block.N; ++m) {
                    const auto q = static_cast<std::size_t>(kPairLanes * m + b);
                    const int K = block.K(m);
                    const double sign = block.fold_sign;
                    double diagonal = H.Element(J, K, 0, false);
                    if (K == 1) diagonal += sign * H.Element(J, -1, 2, false);
                    EXPECT_NEAR(d[q], diagonal, 1e-13 * std::fabs(diagonal)) << J << ' ' << K;
                    if (m + 1 == block.N) {
                        EXPECT_EQ(e[q], 0.0);
                        continue;
                    }
                    // (<K| + T <-K|) H (|K+2> + T |-K-2>) / 2, or with |0> alone / sqrt(2)
                    const double sum = H.Element(J, K, 2, false) + H.Element(J, -K - 2, 2, false);
                    const double beside = K == 0 ? sum / std::sqrt(2.0) : sum / 2.0;
                    EXPECT_NEAR(e[q], beside, 1e-13 * std::fabs(beside)) << J << ' ' << K;
                }
            }
        }
    }
}

}  // namespace
}  // namespace kiv
