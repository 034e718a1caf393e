#include "hamiltonian/RHam.h"

#include <algorithm>
#include <cmath>

#include "hamiltonian/Eispack.h"
#include "hamiltonian/EnergyDev.h"
#include "hamiltonian/HamBands.h"
#include "hamiltonian/Levels.h"
#include "output/Listings.h"
#include "run/KivTrace.h"

namespace {

void FillTridiagonal(const HamOp& ham, int first, int N, double* d, double* e, double* z) {
    std::fill_n(z, static_cast<std::size_t>(N) * N, 0.0);
    e[0] = 0.0;
    for (int m = 0; m < N; ++m) {
        d[m] = ham.Band[0][first + m];
        z[static_cast<std::size_t>(m) * N + m] = 1.0;
        if (m + 1 < N) e[m + 1] = ham.Width > 0 ? ham.Band[1][first + m] : 0.0;
    }
}

void FillLowerTriangle(const HamOp& ham, int first, int N, double* a) {
    for (int col = 0; col < N; ++col) {
        double* column = a + static_cast<std::size_t>(col) * N;
        for (int row = col; row < N; ++row) {
            const int b = row - col;
            column[row] = b <= ham.Width ? ham.Band[b][first + col] : 0.0;
        }
    }
}

// The largest component of a vector, the first of equal ones, is made positive.
void FixSign(double* v, int N) {
    int largest = 0;
    for (int m = 1; m < N; ++m) {
        if (std::fabs(v[m]) > std::fabs(v[largest])) largest = m;
    }
    if (v[largest] >= 0.0) return;
    for (int m = 0; m < N; ++m) v[m] = -v[m];
}

void SolveBlock(HamScratch& s, int b) {
    const int N = s.Block[b].N;
    double* d = s.Erg_Vec.Data() + s.First[b];
    double* z = s.H2V_Matrix.Data() + s.Vec[b];
    if (s.Ham[0].Width <= 1) {
        FillTridiagonal(s.Ham[0], s.First[b], N, d, s.od_vec.Data(), z);
    } else {
        FillLowerTriangle(s.Ham[0], s.First[b], N, z);
        tred2(N, N, z, d, s.od_vec.Data(), z);
    }
    int error = 0;  // an eigenvalue that does not converge is stored as it is
    tql2(N, N, d, s.od_vec.Data(), z, &error);
    for (int i = 0; i < N; ++i) FixSign(z + static_cast<std::size_t>(i) * N, N);
}

void ListVectors(int state, int J) {
    if (J < Kiv.Vec_Print_J_Min || J > Kiv.Vec_Print_J_Max) return;
    const std::size_t level = static_cast<std::size_t>(J) * J;
    PrntEigVec(J, &Kiv.Ka_Vector[state][level], &Kiv.Kc_Vector[state][level],
               Kiv.HamErgReal_Vector[state].Data() + VecOffset(J));
}

}  // namespace

int RHamSoln(int state) {
    TraceEnter("RHamSoln");
    if (state == ST_EXC && Kiv.Gnd_Only == 1) return CopyGroundState();
    HamScratch scratch;
    if (!RHamInit(state, scratch)) return 0;
    SetAsymmetry(state);
    for (int J = 0; J <= Kiv.Max_J; ++J) {
        BuildBlocks(state, J, scratch);
        if (DebugIsOn(DBG_I)) {
            LogPut("\nHAM MATRIX J = %d\n", J);
            ListMatrix(state, J, false);
            LogPut("\n");
        }
        for (int b = 0; b < scratch.Num_Blocks; ++b) SolveBlock(scratch, b);
        RankLevels(state, J, scratch);
        StoreVectors(J, scratch, scratch.H2V_Matrix.Data(),
                     Kiv.HamErgReal_Vector[state].Data() + VecOffset(J));
        if (Kiv.Dev_On == 1) RDevCalc(state, J, J * J, scratch);
        ListEnergies(state, J);
        ListVectors(state, J);
    }
    return TraceExit("RHamSoln");
}
