#include "hamiltonian/EnergyDev.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "run/KivTrace.h"
#include "run/Simd.h"

namespace {

// Expectation values of the operators in one level, by constant; the rigid ones apart.
struct Expectation {
    double Pz2 = 0.0;
    double Diff = 0.0;
    double Prm[NUM_PRM] = {};
};

// A sum over the components of a level: band[m] times the product v*_m v_{m+Offset}, of which the
// real part is taken or the imaginary one.
struct BandSum {
    const double* Band;
    int Offset;
    bool Imag;
};

// All sums of all levels of a block.
struct BlockSums {
    const double* Re;
    const double* Im;  // null for real vectors
    int Ld;
    int Num_Levels;
    int Width;  // largest offset
    std::span<const BandSum> Sums;
    double* Products;  // scratch: kTogether records of 2 (Width + 1) rows of Ld numbers
    double* Out;       // level by level
};

constexpr int kTogether = 4;  // levels for which a band is loaded once

template <class Vec>
KIV_INLINE void FillProducts(const BlockSums& block, int level, double* re) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    const double* x = block.Re + std::ptrdiff_t{level} * block.Ld;
    const double* y = block.Im ? block.Im + std::ptrdiff_t{level} * block.Ld : nullptr;
    double* im = re + (block.Width + 1) * block.Ld;
    for (int b = 0; b <= block.Width; ++b, re += block.Ld, im += block.Ld) {
        for (int m = 0; m < block.Ld; m += kWidth) {
            Vec x0, x1;
            LoadVec(x0, x + m);
            LoadVec(x1, x + m + b);
            if (!block.Im) {
                StoreVec(re + m, x0 * x1);
                continue;
            }
            Vec y0, y1;
            LoadVec(y0, y + m);
            LoadVec(y1, y + m + b);
            StoreVec(re + m, x0 * x1 + y0 * y1);
            StoreVec(im + m, x0 * y1 - y0 * x1);
        }
    }
}

KIV_INLINE double SumLanes(const Vec8& sum) {
    return ((sum[0] + sum[4]) + (sum[2] + sum[6])) + ((sum[1] + sum[5]) + (sum[3] + sum[7]));
}

// The sums of L levels from their products.
template <int L>
KIV_INLINE void SumLevels(const BlockSums& block, int record, double* out) {
    const auto num = static_cast<int>(block.Sums.size());
    for (int i = 0; i < num; ++i) {
        const BandSum& sum = block.Sums[i];
        const double* products =
            block.Products + (sum.Offset + (sum.Imag ? block.Width + 1 : 0)) * block.Ld;
        Vec8 partial[L] = {};
        for (int m = 0; m < block.Ld; m += kVecStep) {
            Vec8 band, p;
            LoadVec(band, sum.Band + m);
            for (int j = 0; j < L; ++j) {
                LoadVec(p, products + j * record + m);
                partial[j] += p * band;
            }
        }
        for (int j = 0; j < L; ++j) out[j * num + i] = SumLanes(partial[j]);
    }
}

template <class Vec>
KIV_INLINE void SumBlockBody(const BlockSums& block) {
    const int record = 2 * (block.Width + 1) * block.Ld;
    const auto num = static_cast<std::ptrdiff_t>(block.Sums.size());
    for (int level = 0; level < block.Num_Levels; level += kTogether) {
        const int left = std::min(kTogether, block.Num_Levels - level);
        for (int j = 0; j < left; ++j) {
            FillProducts<Vec>(block, level + j, block.Products + j * record);
        }
        double* out = block.Out + level * num;
        if (left == kTogether) {
            SumLevels<kTogether>(block, record, out);
        } else {
            for (int j = 0; j < left; ++j) {
                BlockSums one = block;
                one.Products += j * record;
                SumLevels<1>(one, record, out + j * num);
            }
        }
    }
}

KIV_KERNEL(SumBlock, BlockSums)

// The sums that the operators need, operator by operator, for a block whose functions begin at
// `first`. Returns their number.
int ListSums(const HamScratch& s, int first, BandSum* sums) {
    int num = 0;
    for (int i = 0; i < s.Num_Ops; ++i) {
        const HamOp& op = s.Op[i];
        if (op.Zero_By_Symmetry) continue;
        for (int b = op.Imag ? 1 : 0; b <= op.Width; ++b) {
            sums[num++] = {op.Band[b] + first, b, op.Imag};
        }
    }
    return num;
}

// An expectation value from its sums: an offset stands for the elements above and below the
// diagonal.
double ExpectOp(const HamOp& op, const double*& sums) {
    double sum = 0.0;
    for (int b = op.Imag ? 1 : 0; b <= op.Width; ++b, ++sums) {
        sum += b == 0 ? *sums : 2.0 * *sums;
    }
    return op.Imag ? -sum : sum;
}

// Operators that are zero by symmetry keep their 0.
void Expect(const HamScratch& s, const double* sums, Expectation& e) {
    e.Pz2 = ExpectOp(s.Op[OP_PZ2], sums);
    e.Diff = ExpectOp(s.Op[OP_DIFF], sums);
    for (int i = 2; i < s.Num_Ops; ++i) {
        const HamOp& op = s.Op[i];
        if (!op.Zero_By_Symmetry) e.Prm[op.Prm] = ExpectOp(op, sums);
    }
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

// The constants behind A, B, C that have a derivative, in the order of the record.
std::span<const int> ListSlots(int state, int (&prms)[NUM_PRM]) {
    std::size_t num = 0;
    for (int prm = PRM_PX; prm < NUM_HAM_PRM; ++prm) {
        if (Kiv.Prm_Stat[state][prm] == 1) prms[num++] = prm;
    }
    return {prms, num};
}

void FillRecord(int state, int J, std::span<const int> slots, const Expectation& e,
                double* record) {
    const double X = double(J) * (J + 1);
    record[0] = e.Pz2;
    record[1] = 0.5 * (X - e.Pz2) + 0.5 * e.Diff;
    record[2] = 0.5 * (X - e.Pz2) - 0.5 * e.Diff;
    for (std::size_t i = 0; i < slots.size(); ++i) record[3 + i] = e.Prm[slots[i]];
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

// Sums of all levels of J, block by block; returns the number of sums a level.
int SumBlocks(HamScratch& s, const double* re, const double* im) {
    BandSum sums[kMaxOps * kNumOffsets];
    int num = 0, width = 0;
    for (int i = 0; i < s.Num_Ops; ++i) width = std::max(width, s.Op[i].Width);
    for (int b = 0; b < s.Blocks.Num; ++b) {
        const int N = s.Blocks.Block[b].N;
        const std::int64_t vec = s.Blocks.Vec[b];
        num = ListSums(s, s.First[b], sums);
        SumBlock({re + vec,
                  im ? im + vec : nullptr,
                  VecLd(N),
                  N,
                  width,
                  {sums, static_cast<std::size_t>(num)},
                  s.Product_Vec.Data(),
                  s.Sum_Vec.Data() + std::ptrdiff_t{s.First[b]} * num});
    }
    return num;
}

void FillRecords(int state, int J, int first_level, HamScratch& s, const double* re,
                 const double* im) {
    const int num = SumBlocks(s, re, im);
    int prms[NUM_PRM];
    const std::span<const int> slots = ListSlots(state, prms);
    Expectation e;
    for (int r = 0; r <= 2 * J; ++r) {
        Expect(s, s.Sum_Vec.Data() + std::ptrdiff_t{s.Rank_Vec[r]} * num, e);
        const std::int64_t entry = (std::int64_t{first_level} + r) * Kiv.Num_Dev[state];
        FillRecord(state, J, slots, e, &Kiv.HamDev_Vector[state][static_cast<std::size_t>(entry)]);
        if (DebugIsOn(DBG_I)) ListRecord(state, J, r, e, entry);
    }
}

}  // namespace

void RDevCalc(int state, int J, int first_level, HamScratch& s) {
    TraceEnter("RDevCalc");
    FillRecords(state, J, first_level, s, VecStart(Kiv.HamErgReal_Vector[state], J), nullptr);
    TraceExit("RDevCalc");
}

void IDevCalc(int state, int J, int first_level, HamScratch& s) {
    TraceEnter("IDevCalc");
    FillRecords(state, J, first_level, s, VecStart(Kiv.HamErgReal_Vector[state], J),
                VecStart(Kiv.HamErgImag_Vector[state], J));
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
