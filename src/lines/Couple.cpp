#include "lines/Couple.h"

#include <cstddef>

#include "base/Simd.h"

namespace kiv {
namespace {

// Weights of all components, filled up to whole vectors, for one lower level.
template <class Vec>
KIV_INLINE void Weigh(const CoupleRun& run, const double* lower, double* weight) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    for (int m = 0; m < run.num_rows; m += kWidth) {
        Vec plus, c;
        LoadVec(plus, run.plus + m);
        LoadVec(c, lower + m);
        Vec sum = plus * c;
        if (run.minus) {
            Vec minus;
            LoadVec(minus, run.minus + m);
            LoadVec(c, lower + m - run.back);
            sum += minus * c;
        }
        StoreVec(weight + m, sum);
    }
}

// out[l][j] = sum over m of weight[l][m] rows[m ld + j], in ascending m, for L lower levels l and W
// vectors of upper levels j.
template <class Vec, int L, int W>
KIV_INLINE void SumColumns(const CoupleRun& run, const double* const* weight, const double* rows,
                           double* const* out, int j) {
    constexpr int kWidth = sizeof(Vec) / sizeof(double);
    Vec sum[L][W] = {};
    const double* row = rows + j;
    for (int m = 0; m < run.num_rows; ++m, row += run.ld) {
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
    for (; j + (kMost - 1) * kWidth < run.num; j += kMost * kWidth) {
        SumColumns<Vec, L, kMost>(run, weight, rows, out, j);
    }
    if constexpr (kMost == 4) {
        if (j + 2 * kWidth < run.num) return SumColumns<Vec, L, 3>(run, weight, rows, out, j);
        if (j + kWidth < run.num) return SumColumns<Vec, L, 2>(run, weight, rows, out, j);
    }
    if (j < run.num) SumColumns<Vec, L, 1>(run, weight, rows, out, j);
}

// (x'' + i y'')(x' - i y')
template <class Vec>
KIV_INLINE void SumComplex(const CoupleRun& run) {
    for (int l = 0; l < run.num_lowers; ++l) {
        Weigh<Vec>(run, run.im.lower + l * run.lower_ld, run.im.weight[l]);
        double *re = run.re.sum[l], *im = run.im.sum[l], *cross = run.cross;
        SumRows<Vec, 1>(run, run.im.weight + l, run.im.rows, &cross);
        for (int j = 0; j < run.num; ++j) re[j] += cross[j];
        SumRows<Vec, 1>(run, run.im.weight + l, run.re.rows, &im);
        SumRows<Vec, 1>(run, run.re.weight + l, run.im.rows, &cross);
        for (int j = 0; j < run.num; ++j) im[j] -= cross[j];
        if (!run.turn) continue;
        for (int j = 0; j < run.num; ++j) {
            const double turned = -im[j];
            im[j] = re[j];
            re[j] = turned;
        }
    }
}

template <class Vec>
KIV_INLINE void CoupleBody(const CoupleRun& run) {
    for (int l = 0; l < run.num_lowers; ++l) {
        Weigh<Vec>(run, run.re.lower + l * run.lower_ld, run.re.weight[l]);
    }
    if (run.num_lowers == kLowers) {
        SumRows<Vec, kLowers>(run, run.re.weight, run.re.rows, run.re.sum);
    } else {
        for (int l = 0; l < run.num_lowers; ++l) {
            SumRows<Vec, 1>(run, run.re.weight + l, run.re.rows, run.re.sum + l);
        }
    }
    if (run.is_complex) SumComplex<Vec>(run);
}

}  // namespace

KIV_KERNEL(Couple, CoupleRun)

}  // namespace kiv
