// Complex Hamiltonians.
#include <algorithm>
#include <cmath>

#include "levels/Bands.h"
#include "levels/Solution.h"
#include "linalg/Eispack.h"
#include "linalg/Hermitian.h"

namespace kiv {
namespace {

// Lower triangle of one block: <m+b|H|m> = Re - i Im, with the bands holding <m|H|m+b>.
void FillLowerTriangle(const BlockScratch& s, int first, int N, double* re, double* im) {
    for (int col = 0; col < N; ++col) {
        for (int row = col; row < N; ++row) {
            const int b = row - col;
            const std::size_t at = static_cast<std::size_t>(col) * VecLd(N) + row;
            re[at] = b <= s.ham[0].width ? s.ham[0].band[b][first + col] : 0.0;
            im[at] = b <= s.ham[1].width ? -s.ham[1].band[b][first + col] : 0.0;
        }
    }
}

void FillIdentity(double* re, double* im, int N) {
    const auto ld = static_cast<std::size_t>(VecLd(N));
    std::fill_n(re, static_cast<std::size_t>(N) * ld, 0.0);
    std::fill_n(im, static_cast<std::size_t>(N) * ld, 0.0);
    for (int m = 0; m < N; ++m) re[static_cast<std::size_t>(m) * ld + m] = 1.0;
}

// Solves a block in the place of its eigenvectors.
void SolveBlock(BlockScratch& s, int b, double* re, double* im) {
    const int N = s.blocks.block[b].N, ld = VecLd(N);
    double* d = s.energies.data() + s.first[b];
    double* a_re = s.matrix_real.data();
    double* a_im = s.matrix_imag.data();
    FillLowerTriangle(s, s.first[b], N, a_re, a_im);
    FillIdentity(re, im, N);
    htridi(ld, N, a_re, a_im, d, s.subdiagonal.data(), s.subdiagonal2.data(), s.phases.data());
    int error = 0;  // an eigenvalue that does not converge is stored as it is
    tql2(ld, N, d, s.subdiagonal.data(), re, &error);
    htribk(ld, N, a_re, a_im, s.phases.data(), N, re, im);
    for (int i = 0; i < N; ++i) {
        const std::size_t at = static_cast<std::size_t>(i) * ld;
        FixPhase(re + at, im + at, N);
    }
}

}  // namespace

void FixPhase(double* re, double* im, int N) {
    int largest = 0;
    const auto size = [&](int m) { return re[m] * re[m] + im[m] * im[m]; };
    for (int m = 1; m < N; ++m) {
        if (size(m) > size(largest)) largest = m;
    }
    const double norm = pythag(re[largest], im[largest]);
    if (!(norm > 0.0)) return;
    const double c = re[largest] / norm, s = im[largest] / norm;
    for (int m = 0; m < N; ++m) {
        const double x = re[m], y = im[m];
        re[m] = c * x + s * y;
        im[m] = c * y - s * x;
    }
    im[largest] = 0.0;
}

void SolveComplex(const Hamiltonian& H, int J, BlockScratch& s, Levels& levels) {
    BuildBlocks(H, J, s);
    double* const re = VecStart(levels, levels.vectors_real, J);
    double* const im = VecStart(levels, levels.vectors_imag, J);
    for (int b = 0; b < s.blocks.num; ++b) {
        const std::int64_t vec = s.blocks.vec[b];
        SolveBlock(s, b, re + vec, im + vec);
    }
}

}  // namespace kiv
