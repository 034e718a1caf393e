#include "hamiltonian/RHam.h"

#include <algorithm>
#include <cmath>

#include "hamiltonian/Eispack.h"
#include "hamiltonian/EnergyDev.h"
#include "hamiltonian/HamBands.h"
#include "hamiltonian/Levels.h"
#include "output/Listings.h"
#include "run/KivTrace.h"
#include "run/Simd.h"

namespace {

void FillTridiagonal(const HamOp& ham, int first, const QlMatrix& a) {
    std::fill_n(a.Z, static_cast<std::size_t>(a.N) * a.Nm, 0.0);
    a.E[0] = 0.0;
    for (int m = 0; m < a.N; ++m) {
        a.D[m] = ham.Band[0][first + m];
        a.Z[static_cast<std::size_t>(m) * a.Nm + m] = 1.0;
        if (m + 1 < a.N) a.E[m + 1] = ham.Width > 0 ? ham.Band[1][first + m] : 0.0;
    }
}

void FillLowerTriangle(const HamOp& ham, int first, const QlMatrix& a) {
    std::fill_n(a.Z, static_cast<std::size_t>(a.N) * a.Nm, 0.0);
    for (int col = 0; col < a.N; ++col) {
        double* column = a.Z + static_cast<std::size_t>(col) * a.Nm;
        for (int b = 0; b <= ham.Width && col + b < a.N; ++b) {
            column[col + b] = ham.Band[b][first + col];
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

// Lays out the blocks of a J in the place of their eigenvectors. Returns their number.
int PrepareBlocks(HamScratch& s, double* vectors, QlMatrix* a) {
    const HamOp& ham = s.Ham[0];
    for (int b = 0; b < s.Blocks.Num; ++b) {
        const int N = s.Blocks.Block[b].N;
        a[b] = {VecLd(N),
                N,
                s.Erg_Vec.Data() + s.First[b],
                s.od_vec.Data() + s.First[b],
                vectors + s.Blocks.Vec[b],
                0};
        if (ham.Width <= 1) {
            FillTridiagonal(ham, s.First[b], a[b]);
        } else {
            FillLowerTriangle(ham, s.First[b], a[b]);
            tred2(a[b].Nm, N, a[b].Z, a[b].D, a[b].E, a[b].Z);
        }
    }
    return s.Blocks.Num;
}

constexpr int kTogether = 2;  // J that are solved at a time

// Solves J = first, first + 1, .. up to `last`.
void SolveTogether(int state, int first, int last, HamScratch* scratch) {
    QlMatrix matrices[kTogether * kMaxBlocks];
    std::size_t num = 0;
    for (int J = first; J <= last; ++J) {
        HamScratch& s = scratch[J - first];
        BuildBlocks(state, J, s);
        double* const vectors = VecStart(Kiv.HamErgReal_Vector[state], J);
        num += static_cast<std::size_t>(PrepareBlocks(s, vectors, matrices + num));
    }
    tql2({matrices, num});  // what does not converge stays as it is
    for (std::size_t i = 0; i < num; ++i) FixSigns(matrices[i]);
}

void ListHam(int state, int J) {
    if (!DebugIsOn(DBG_I)) return;
    LogPut("\nHAM MATRIX J = %d\n", J);
    ListMatrix(state, J, false);
    LogPut("\n");
}

void ListVectors(int state, int J, HamScratch& s) {
    if (J < Kiv.Vec_Print_J_Min || J > Kiv.Vec_Print_J_Max) return;
    const std::size_t level = static_cast<std::size_t>(J) * J;
    ExpandVectors(state, J, Kiv.HamErgReal_Vector[state], s.H2V_Matrix.Data());
    PrntEigVec(J, &Kiv.Ka_Vector[state][level], &Kiv.Kc_Vector[state][level], s.H2V_Matrix.Data());
}

}  // namespace

int RHamSoln(int state) {
    TraceEnter("RHamSoln");
    if (state == ST_EXC && Kiv.Gnd_Only == 1) return CopyGroundState();
    HamScratch scratch[kTogether];
    if (!RHamInit(state, scratch)) return 0;
    SetAsymmetry(state);
    for (int first = 0; first <= Kiv.Max_J; first += kTogether) {
        const int last = std::min(first + kTogether - 1, Kiv.Max_J);
        SolveTogether(state, first, last, scratch);
        for (int J = first; J <= last; ++J) {
            HamScratch& s = scratch[J - first];
            ListHam(state, J);
            RankLevels(state, J, s);
            if (Kiv.Dev_On == 1) RDevCalc(state, J, J * J, s);
            ListEnergies(state, J);
            ListVectors(state, J, s);
        }
    }
    return TraceExit("RHamSoln");
}
