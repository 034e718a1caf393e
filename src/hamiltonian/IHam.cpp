#include "hamiltonian/IHam.h"

#include <algorithm>
#include <cmath>

#include "hamiltonian/Eispack.h"
#include "hamiltonian/EnergyDev.h"
#include "hamiltonian/HamBands.h"
#include "hamiltonian/Hermitian.h"
#include "hamiltonian/Levels.h"
#include "run/KivTrace.h"

namespace {

// Lower triangle of one block: <m+b|H|m> = Re - i Im, with the bands holding <m|H|m+b>.
void FillLowerTriangle(const HamScratch& s, int first, int N, double* re, double* im) {
    for (int col = 0; col < N; ++col) {
        for (int row = col; row < N; ++row) {
            const int b = row - col;
            const std::size_t at = static_cast<std::size_t>(col) * VecLd(N) + row;
            re[at] = b <= s.Ham[0].Width ? s.Ham[0].Band[b][first + col] : 0.0;
            im[at] = b <= s.Ham[1].Width ? -s.Ham[1].Band[b][first + col] : 0.0;
        }
    }
}

void FillIdentity(double* re, double* im, int N) {
    const auto ld = static_cast<std::size_t>(VecLd(N));
    std::fill_n(re, static_cast<std::size_t>(N) * ld, 0.0);
    std::fill_n(im, static_cast<std::size_t>(N) * ld, 0.0);
    for (int m = 0; m < N; ++m) re[static_cast<std::size_t>(m) * ld + m] = 1.0;
}

// The largest component of a vector, the first of equal ones, is made real and positive.
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

// Solves a block in the place of its eigenvectors.
void SolveBlock(HamScratch& s, int b, double* re, double* im) {
    const int N = s.Blocks.Block[b].N, ld = VecLd(N);
    double* d = s.Erg_Vec.Data() + s.First[b];
    double* a_re = s.HR_Mat.Data();
    double* a_im = s.HI_Mat.Data();
    FillLowerTriangle(s, s.First[b], N, a_re, a_im);
    FillIdentity(re, im, N);
    htridi(ld, N, a_re, a_im, d, s.od_vec.Data(), s.od1_vec.Data(), s.tau_mat.Data());
    int error = 0;  // an eigenvalue that does not converge is stored as it is
    tql2(ld, N, d, s.od_vec.Data(), re, &error);
    htribk(ld, N, a_re, a_im, s.tau_mat.Data(), N, re, im);
    for (int i = 0; i < N; ++i) {
        const std::size_t at = static_cast<std::size_t>(i) * ld;
        FixPhase(re + at, im + at, N);
    }
}

void ListMatrices(int state, int J) {
    if (!DebugIsOn(DBG_I)) return;
    LogPut("\nHAM REAL MATRIX J = %d\n", J);
    ListMatrix(state, J, false);
    LogPut("HAM IMAG MATRIX J = %d\n", J);
    ListMatrix(state, J, true);
    LogFlush();
}

}  // namespace

int IHamSoln(int state) {
    TraceEnter("IHamSoln");
    if (state == ST_EXC && Kiv.Gnd_Only == 1) return CopyGroundState();
    HamScratch scratch;
    if (!IHamInit(state, scratch)) return 0;
    SetAsymmetry(state);
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        BuildBlocks(state, J, scratch);
        ListMatrices(state, J);
        double* const re = VecStart(Kiv.HamErgReal_Vector[state], J);
        double* const im = VecStart(Kiv.HamErgImag_Vector[state], J);
        for (int b = 0; b < scratch.Blocks.Num; ++b) {
            const std::int64_t vec = scratch.Blocks.Vec[b];
            SolveBlock(scratch, b, re + vec, im + vec);
        }
        RankLevels(state, J, scratch);
        if (Kiv.Dev_On == 1) IDevCalc(state, J, J * J, scratch);
        ListEnergies(state, J);
    }
    return TraceExit("IHamSoln");
}
