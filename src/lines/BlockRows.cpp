#include "lines/BlockRows.h"

#include <algorithm>
#include <cmath>

#include "base/Failure.h"
#include "levels/LevelVectors.h"
#include "levels/Symmetry.h"

namespace kiv {

Status BlockRows::Fit(const Memory& memory, int max_J) {
    if (max_J <= max_J_) return {};
    max_J_ = -1;
    for (Array<double>* const rows : {&diagonal_, &beside_, &pivots_}) {
        if (!rows->TakeUnset(memory, max_J + 2)) return NoMemory("");
    }
    max_J_ = max_J;
    return {};
}

void BlockRows::Fill(const Hamiltonian& H, int J) {
    J_ = J;
    const double X = double(J) * (J + 1);
    const double A = H.value(Constant::A), B = H.value(Constant::B), C = H.value(Constant::C);
    const double P = (B + C) / 2;
    for (int K = 0; K <= J; ++K) diagonal_[K] = X * P + double(K) * K * (A - P);
    for (int K = -1; K <= J - 2; ++K) beside()[K] = (B - C) / 4;
    for (const HamTerm& term : HamTerms()) {
        const double value = H.value(term.constant);
        if (value == 0.0 || !H.Uses(term)) continue;
        if (term.dk == 0) {
            for (int K = 0; K <= J; ++K) diagonal_[K] += value * term.factor(X, K);
        } else {
            for (int K = -1; K <= J - 2; ++K) beside()[K] += value * term.factor(X, K);
        }
    }
    for (int K = -1; K <= J - 2; ++K) beside()[K] *= LadderRoot(J, K, 2);
}

int BlockRows::LastK(double highest, double error) {
    int last = 0;
    for (const int end : {J_, J_ - 1}) {
        int K = end, first = end + 2;  // K whose pivots are positive begin there
        for (double below = 0.0; K > 2; first = K, K -= 2) {
            pivots_[K] = diagonal_[K] - highest - below;
            if (!(pivots_[K] > 0.0)) break;
            below = beside()[K - 2] * beside()[K - 2] / pivots_[K];
        }
        double part = 1.0;  // that row K - 2 may have of a vector, squared
        for (K = first; K <= end; K += 2) {
            const double change = beside()[K - 2] * beside()[K - 2] / pivots_[K];
            if (part * change <= error) break;
            part = std::min(1.0, part * change / pivots_[K]);
        }
        last = std::max(last, K - 2);
    }
    return last;
}

int BlockRows::PutInLanes(const LaneMatrices& set) const {
    const LevelBlocks blocks = BlocksOf(kAllC2, J_);
    double above = 0.0;  // all eigenvalues
    int num = 0;
    for (int b = 0; b < blocks.num; ++b) {
        const SymBlock& block = blocks.block[b];
        const int rows = std::min(block.N, set.n);
        double before = 0.0;
        for (int m = 0; m < rows; ++m) {
            const int K = block.K(m);
            const double fold = K == 1 && J_ > 0 ? block.fold_sign * beside()[-1] : 0.0;
            const double d = diagonal_[K] + fold;
            double behind = m + 1 < block.N ? beside()[K] : 0.0;
            if (K == 0) behind *= 1.41421356237309504880;
            set.d[m * kPairLanes + b] = d;
            set.e2[m * kPairLanes + b] = before * before;
            above = std::max(above, std::fabs(d) + std::fabs(before) + std::fabs(behind));
            before = behind;
        }
        num += rows;
    }
    for (int b = 0; b < kPairLanes; ++b) {
        for (int m = b < blocks.num ? std::min(blocks.block[b].N, set.n) : 0; m < set.n; ++m) {
            set.d[m * kPairLanes + b] = 2.0 * above;
            set.e2[m * kPairLanes + b] = 0.0;
        }
    }
    return num;
}

void BlockRows::TakeFromLanes(const LaneMatrices& set, double* energies) const {
    const LevelBlocks blocks = BlocksOf(kAllC2, J_);
    for (int b = 0; b < blocks.num; ++b) {
        const int rows = std::min(blocks.block[b].N, set.n);
        for (int m = 0; m < rows; ++m) *energies++ = set.d[m * kPairLanes + b];
    }
}

}  // namespace kiv
