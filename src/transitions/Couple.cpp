#include "transitions/Couple.h"

#include <cstddef>

#include "run/Simd.h"

namespace {

// Weights of all components, filled up to whole vectors, for one lower level.
template <class Vec>
KIV_INLINE void Weigh(const CoupleRun& run, const double* lower, double* weight) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    for (int m = 0; m < run.Num_Rows; m += kWidth) {
        Vec plus, c;
        LoadVec(plus, run.Plus + m);
        LoadVec(c, lower + m);
        Vec sum = plus * c;
        if (run.Minus) {
            Vec minus;
            LoadVec(minus, run.Minus + m);
            LoadVec(c, lower + m - run.Back);
            sum += minus * c;
        }
        StoreVec(weight + m, sum);
    }
}

// out[l][j] = sum over m of weight[l][m] rows[m Ld + j], in ascending m, for L lower levels l and W
// vectors of upper levels j.
template <class Vec, int L, int W>
KIV_INLINE void SumColumns(const CoupleRun& run, const double* const* weight, const double* rows,
                           double* const* out, int j) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    Vec sum[L][W] = {};
    const double* row = rows + j;
    for (int m = 0; m < run.Num_Rows; ++m, row += run.Ld) {
        Vec x[W];
        for (int w = 0; w < W; ++w) LoadVec(x[w], row + kWidth * w);
        for (int l = 0; l < L; ++l) {
            for (int w = 0; w < W; ++w) sum[l][w] += weight[l][m] * x[w];
        }
    }
    for (int l = 0; l < L; ++l) {
        for (int w = 0; w < W; ++w) StoreVec(out[l] + j + kWidth * w, sum[l][w]);
    }
}

template <class Vec, int L>
KIV_INLINE void SumRows(const CoupleRun& run, const double* const* weight, const double* rows,
                        double* const* out) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    constexpr int kMost = sizeof(Vec) / 16;  // vectors for whose sums there are registers
    int j = 0;
    for (; j + (kMost - 1) * kWidth < run.Num; j += kMost * kWidth) {
        SumColumns<Vec, L, kMost>(run, weight, rows, out, j);
    }
    if constexpr (kMost == 4) {
        if (j + 2 * kWidth < run.Num) return SumColumns<Vec, L, 3>(run, weight, rows, out, j);
        if (j + kWidth < run.Num) return SumColumns<Vec, L, 2>(run, weight, rows, out, j);
    }
    if (j < run.Num) SumColumns<Vec, L, 1>(run, weight, rows, out, j);
}

// (x'' + i y'')(x' - i y')
template <class Vec>
KIV_INLINE void SumComplex(const CoupleRun& run) {
    for (int l = 0; l < run.Num_Lowers; ++l) {
        Weigh<Vec>(run, run.Im.Lower + l * run.Lower_Ld, run.Im.Weight[l]);
        double *re = run.Re.Sum[l], *im = run.Im.Sum[l], *cross = run.Cross;
        SumRows<Vec, 1>(run, run.Im.Weight + l, run.Im.Rows, &cross);
        for (int j = 0; j < run.Num; ++j) re[j] += cross[j];
        SumRows<Vec, 1>(run, run.Im.Weight + l, run.Re.Rows, &im);
        SumRows<Vec, 1>(run, run.Re.Weight + l, run.Im.Rows, &cross);
        for (int j = 0; j < run.Num; ++j) im[j] -= cross[j];
        if (!run.Turn) continue;
        for (int j = 0; j < run.Num; ++j) {
            const double turned = -im[j];
            im[j] = re[j];
            re[j] = turned;
        }
    }
}

template <class Vec>
KIV_INLINE void CoupleBody(const CoupleRun& run) {
    for (int l = 0; l < run.Num_Lowers; ++l) {
        Weigh<Vec>(run, run.Re.Lower + l * run.Lower_Ld, run.Re.Weight[l]);
    }
    if (run.Num_Lowers == kLowers) {
        SumRows<Vec, kLowers>(run, run.Re.Weight, run.Re.Rows, run.Re.Sum);
    } else {
        for (int l = 0; l < run.Num_Lowers; ++l) {
            SumRows<Vec, 1>(run, run.Re.Weight + l, run.Re.Rows, run.Re.Sum + l);
        }
    }
    if (run.Complex) SumComplex<Vec>(run);
}

}  // namespace

KIV_KERNEL(Couple, CoupleRun)
