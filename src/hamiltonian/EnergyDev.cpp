#include "hamiltonian/EnergyDev.h"

#include <algorithm>

#include "run/KivTrace.h"
#include "run/Simd.h"

namespace {

// One eigenvector in its block: component m at Re[m], Im[m]; Im is null for a real one.
struct BlockVector {
    const double* Re;
    const double* Im;
    int N;
    int First;  // place of the block's first function
};

// Expectation values of the operators in one level, by constant; the rigid ones apart.
struct Expectation {
    double Pz2 = 0.0;
    double Diff = 0.0;
    double Prm[NUM_PRM] = {};
};

// Products v*_m v_{m+b}: real parts, and imaginary parts for the imaginary operators.
void FillProducts(const BlockVector& v, int width, double* re, double* im) {
    for (int b = 0; b <= width && b < v.N; ++b) {
        double* pr = re + b * v.N;
        double* pi = im + b * v.N;
        if (!v.Im) {
            for (int m = 0; m + b < v.N; ++m) pr[m] = v.Re[m] * v.Re[m + b];
            continue;
        }
        for (int m = 0; m + b < v.N; ++m) {
            pr[m] = v.Re[m] * v.Re[m + b] + v.Im[m] * v.Im[m + b];
            pi[m] = v.Re[m] * v.Im[m + b] - v.Im[m] * v.Re[m + b];
        }
    }
}

double ExpectOp(const HamOp& op, const BlockVector& v, const double* re, const double* im) {
    const double* products = op.Imag ? im : re;
    double sum = 0.0;
    for (int b = op.Imag ? 1 : 0; b <= op.Width && b < v.N; ++b) {
        const double* band = op.Band[b] + v.First;
        const double part = DotProduct(products + b * v.N, band, v.N - b);
        sum += b == 0 ? part : 2.0 * part;
    }
    return op.Imag ? -sum : sum;
}

Expectation Expect(const HamScratch& s, const BlockVector& v) {
    int width = 0;
    for (int i = 0; i < s.Num_Ops; ++i) width = std::max(width, s.Op[i].Width);
    double* re = s.Sum_Vec.Ptr.get();
    double* im = re + s.Sum_Vec.Num / 2;
    FillProducts(v, width, re, im);
    Expectation e;
    e.Pz2 = ExpectOp(s.Op[OP_PZ2], v, re, im);
    e.Diff = ExpectOp(s.Op[OP_DIFF], v, re, im);
    for (int i = 2; i < s.Num_Ops; ++i) {
        const HamOp& op = s.Op[i];
        if (!op.Zero_By_Symmetry) e.Prm[op.Prm] = ExpectOp(op, v, re, im);
    }
    return e;
}

// Derivatives of the cross terms that the rotation produced, turned back to A, B, C. The tensor
// element counts once, the operator twice.
void TurnBack(int state, const Expectation& e, double* record) {
    const std::int32_t* flag = Kiv.XTerm_Flag[state];
    const auto half = [&](int prm) { return flag[prm] == 1 ? 0.5 * e.Prm[prm] : 0.0; };
    if (flag[PRM_PXPY] != 1 && flag[PRM_PXPZ] != 1 && flag[PRM_PYPZ] != 1) return;
    double T[3][3] = {};
    T[0][1] = T[1][0] = half(PRM_PXPY);
    T[0][2] = T[2][0] = half(PRM_PXPZ);
    T[1][2] = T[2][1] = half(PRM_PYPZ);
    DevBackRotation(record, Kiv.Rot_Mat[state], T);
}

void FillRecord(int state, int J, const Expectation& e, double* record) {
    const double X = double(J) * (J + 1);
    record[0] = e.Pz2;
    record[1] = 0.5 * (X - e.Pz2) + 0.5 * e.Diff;
    record[2] = 0.5 * (X - e.Pz2) - 0.5 * e.Diff;
    int slot = 3;
    for (int prm = PRM_PX; prm < NUM_HAM_PRM; ++prm) {
        if (Kiv.Prm_Stat[state][prm] == 1) record[slot++] = e.Prm[prm];
    }
    TurnBack(state, e, record);
}

struct DevColumn {
    int Prm;
    const char* Format;
};

constexpr DevColumn kRealColumns[] = {
    {PRM_PX, "PX> %lf   "}, {PRM_PZ, "PZ> %lf   "}, {PRM_PXPZ, "PXPZ> %lf   "},
    {PRM_DK, "DK> %lf   "}, {PRM_DJ, "DJ> %lf   "}, {PRM_PZ3, "PZ3> %lf"},
};

constexpr DevColumn kComplexColumns[] = {
    {PRM_PX, "PX> %lf   "},       {PRM_PY, "PY> %lf   "},       {PRM_PZ, "PZ> %lf   "},
    {PRM_PXPY, "PXPY> %lf   "},   {PRM_PXPZ, "PXPZ> %lf   "},   {PRM_PYPZ, "PYPZ> %lf   "},
    {PRM_DJ, "DJ> %lf   "},       {PRM_PZ3, "PZ3> %lf   "},     {PRM_PZ5, "PZ5> %lf   "},
    {PRM_PZ2PX, "PZ2PX> %lf   "}, {PRM_PZ2PY, "PZ2PY> %lf   "}, {PRM_PX2PZ, "PX2PZ> %lf   "},
    {PRM_PY2PZ, "PY2PZ> %lf   "},
};

void PutColumns(int state, const Expectation& e, std::span<const DevColumn> columns) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // one conversion a row of the tables above
    for (const DevColumn& column : columns) {
        if (IsTermOn(state, column.Prm)) LogPut(column.Format, e.Prm[column.Prm]);
    }
#pragma GCC diagnostic pop
    LogPut("\n");
}

// The energy from the derivatives, with the unrotated A, B, C.
double EnergyFromRecord(int state, const double* record) {
    double sum = 0.0;
    for (int prm = PRM_A; prm <= PRM_C; ++prm) sum += Kiv.Prm_Val_Save[state][prm] * record[prm];
    int slot = 3;
    for (int prm = PRM_PX; prm < NUM_HAM_PRM && slot < Kiv.Num_Dev[state]; ++prm) {
        if (Kiv.Prm_Stat[state][prm] == 1) sum += Kiv.Prm_Val[state][prm] * record[slot++];
    }
    return sum;
}

void ListRecord(int state, int J, int r, const Expectation& e, std::int64_t entry) {
    const double* record = &Kiv.HamDev_Vector[state][static_cast<std::size_t>(entry)];
    if (Kiv.Cplx_Ham == 1) {
        LogPut("\nDV_CT=%lld NO_DVS=%d ", static_cast<long long>(entry), Kiv.Num_Dev[state]);
        LogPut("J> %d R> %d ", J, r);
        PutColumns(state, e, kComplexColumns);
    } else {
        LogPut("\nJ> %d R> %d ", J, r);
        LogPut("PZ**2> %lf   ", record[0]);
        LogPut("PX**2> %lf   PY**2> %lf   ", record[1], record[2]);
        PutColumns(state, e, kRealColumns);
    }
    LogPut("HAM ERG = %lf DER ERG = %lf\n",
           Kiv.HamErg_Vector[state][static_cast<std::size_t>(J) * J + r],
           EnergyFromRecord(state, record));
    LogPut("DEV_CT[ %d ] = %lld\n", state, static_cast<long long>(entry));
    std::fflush(stdout);
}

void FillRecords(int state, int J, int first_level, const HamScratch& s, const double* re,
                 const double* im) {
    for (int r = 0; r <= 2 * J; ++r) {
        const int place = s.Rank_Vec[r];
        const int b = s.BlockOf(place);
        const int N = s.Block[b].N;
        const std::int64_t at = s.Vec[b] + std::int64_t{place - s.First[b]} * N;
        const Expectation e = Expect(s, {re + at, im ? im + at : nullptr, N, s.First[b]});
        const std::int64_t entry = (std::int64_t{first_level} + r) * Kiv.Num_Dev[state];
        FillRecord(state, J, e, &Kiv.HamDev_Vector[state][static_cast<std::size_t>(entry)]);
        if (DebugIsOn(DBG_I)) ListRecord(state, J, r, e, entry);
    }
}

}  // namespace

void RDevCalc(int state, int J, int first_level, const HamScratch& s) {
    TraceEnter("RDevCalc");
    FillRecords(state, J, first_level, s, s.H2V_Matrix.Data(), nullptr);
    TraceExit("RDevCalc");
}

void IDevCalc(int state, int J, int first_level, const HamScratch& s) {
    TraceEnter("IDevCalc");
    FillRecords(state, J, first_level, s, s.VR_Mat.Data(), s.VI_Mat.Data());
    TraceExit("IDevCalc");
}

int DevBackRotation(double* record, const double g[3][3], double T[3][3]) {
    TraceEnter("DevBackRotation");
    T[0][0] = record[1];
    T[1][1] = record[2];
    T[2][2] = record[0];
    double U[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            U[i][j] = T[i][0] * g[0][j] + T[i][1] * g[1][j] + T[i][2] * g[2][j];
    }
    const auto turned = [&](int i) {
        return g[0][i] * U[0][i] + g[1][i] * U[1][i] + g[2][i] * U[2][i];
    };
    record[1] = turned(0);
    record[2] = turned(1);
    record[0] = turned(2);
    return TraceExit("DevBackRotation");
}
