// Real Hamiltonians.
#include <algorithm>
#include <cmath>

#include "base/Simd.h"
#include "levels/Bands.h"
#include "levels/Solution.h"
#include "linalg/Eispack.h"

namespace kiv {
namespace {

void FillTridiagonal(const HamOp& ham, int first, const QlMatrix& a) {
    if (a.Z) std::fill_n(a.Z, static_cast<std::size_t>(a.N) * a.Nm, 0.0);
    a.E[0] = 0.0;
    for (int m = 0; m < a.N; ++m) {
        a.D[m] = ham.band[0][first + m];
        if (a.Z) a.Z[static_cast<std::size_t>(m) * a.Nm + m] = 1.0;
        if (m + 1 < a.N) a.E[m + 1] = ham.width > 0 ? ham.band[1][first + m] : 0.0;
    }
}

void FillLowerTriangle(const HamOp& ham, int first, const QlMatrix& a) {
    std::fill_n(a.Z, static_cast<std::size_t>(a.N) * a.Nm, 0.0);
    for (int col = 0; col < a.N; ++col) {
        double* column = a.Z + static_cast<std::size_t>(col) * a.Nm;
        for (int b = 0; b <= ham.width && col + b < a.N; ++b) {
            column[col + b] = ham.band[b][first + col];
        }
    }
}

// The largest component of a vector, the first of equal ones.
double LargestComponent(const double* v, int N) {
    int largest = 0;
    for (int m = 1; m < N; ++m) {
        if (std::fabs(v[m]) > std::fabs(v[largest])) largest = m;
    }
    return v[largest];
}

// Makes the largest component of every vector positive.
template <class Vec>
KIV_INLINE void FixSignsBody(const QlMatrix& a) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    for (int i = 0; i < a.N; ++i) {
        double* v = a.Z + std::ptrdiff_t{i} * a.Nm;
        Vec top = {}, bottom = {};
        for (int m = 0; m < a.Nm; m += kWidth) {
            Vec x;
            LoadVec(x, v + m);
            top = x > top ? x : top;
            bottom = x < bottom ? x : bottom;
        }
        double high = 0.0, low = 0.0;
        for (int m = 0; m < kWidth; ++m) {
            high = std::max(high, top[m]);
            low = std::min(low, bottom[m]);
        }
        if (high > -low || (high == -low && LargestComponent(v, a.N) >= 0.0)) continue;
        for (int m = 0; m < a.N; ++m) v[m] = -v[m];
    }
}

KIV_KERNEL(FixSigns, QlMatrix)

// Lays out the blocks of a J in the place of their eigenvectors, if there is one. Returns their
// number.
int PrepareBlocks(BlockScratch& s, double* vectors, QlMatrix* a) {
    const HamOp& ham = s.ham[0];
    for (int b = 0; b < s.blocks.num; ++b) {
        const int N = s.blocks.block[b].N;
        a[b] = {VecLd(N),
                N,
                s.energies.data() + s.first[b],
                s.subdiagonal.data() + s.first[b],
                vectors ? vectors + s.blocks.vec[b] : nullptr,
                0};
        if (ham.width <= 1) {
            FillTridiagonal(ham, s.first[b], a[b]);
        } else {
            if (!vectors) a[b].Z = s.matrix_real.data();
            FillLowerTriangle(ham, s.first[b], a[b]);
            tred2(a[b].Nm, N, a[b].Z, a[b].D, a[b].E, a[b].Z);
            if (!vectors) a[b].Z = nullptr;
        }
    }
    return s.blocks.num;
}

}  // namespace

void SolveReal(const Hamiltonian& H, std::span<const VectorsOfJ> wanted, LevelScratch& scratch) {
    QlMatrix matrices[kTogether * kMaxBlocks];
    std::size_t num = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        BlockScratch& s = scratch.of_J[i];
        BuildBlocks(H, wanted[i].J, s);
        num += static_cast<std::size_t>(PrepareBlocks(s, wanted[i].vectors, matrices + num));
    }
    tql2({matrices, num});  // what does not converge stays as it is
    for (std::size_t i = 0; i < num; ++i) {
        if (matrices[i].Z) FixSigns(matrices[i]);
    }
}

}  // namespace kiv
