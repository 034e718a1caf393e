#include "linalg/Eigenpair.h"

#include <cmath>
#include <cstring>

#include "base/Simd.h"

namespace kiv {
namespace {

constexpr double kLeastPivot = 1e-290;  // its inverse times a matrix element is still a number

double Pivot(double x) { return std::fabs(x) < kLeastPivot ? kLeastPivot : x; }

using Counts4 = long long __attribute__((vector_size(32)));

struct CountRun {
    const CountedMatrices* matrices;
    const double* shifts;
    EigenvalueCounts* counts;
};

// Vec names the instruction set alone: there are four shifts.
template <class Vec>
KIV_INLINE void RunCountBody(const CountRun& run) {
    const CountedMatrices& matrices = *run.matrices;
    Vec4 shift;
    LoadVec(shift, run.shifts);
    Vec4 pivot[kCounts];
    Counts4 below[kCounts] = {};
    const Vec4 least = Vec4{} + kLeastPivot;
    for (Vec4& p : pivot) p = Vec4{} + 1.0;
    for (int i = 0; i < matrices.n; ++i) {
        for (std::size_t b = 0; b < kCounts; ++b) {
            Vec4 p = (matrices.d[b][i] - shift) - matrices.e2[b][i] / pivot[b];
            p = p == 0.0 ? least : p;
            below[b] += p < 0.0;  // a lane is -1 where it is true
            pivot[b] = p;
        }
    }
    for (std::size_t b = 0; b < kCounts; ++b) {
        for (std::size_t k = 0; k < kCounts; ++k) {
            (*run.counts)[b][k] = static_cast<int>(-below[b][k]);
        }
    }
}

KIV_KERNEL(RunCount, CountRun)

}  // namespace

double RayleighQuotient(const TridiagonalMatrix& matrix, const double* v) {
    double diagonal = 0.0, beside = 0.0;
    for (int i = 0; i < matrix.n; ++i) diagonal += matrix.d[i] * v[i] * v[i];
    for (int i = 0; i + 1 < matrix.n; ++i) beside += matrix.e[i] * v[i] * v[i + 1];
    return diagonal + 2.0 * beside;
}

double ImproveEigenpair(const TridiagonalMatrix& matrix, double value, double* room, double* z) {
    const int n = matrix.n;
    const double *d = matrix.d, *e = matrix.e;
    double *const top = room, *const bottom = room + n;  // pivots from either end
    top[0] = Pivot(d[0] - value);
    bottom[n - 1] = Pivot(d[n - 1] - value);
    for (int i = 1, j = n - 2; i < n; ++i, --j) {
        top[i] = Pivot((d[i] - value) - e[i - 1] * e[i - 1] / top[i - 1]);
        bottom[j] = Pivot((d[j] - value) - e[j] * e[j] / bottom[j + 1]);
    }
    int meet = 0;
    double remainder = 0.0;
    for (int i = 0; i < n; ++i) {
        const double here = (top[i] - (d[i] - value)) + bottom[i];
        if (i > 0 && std::fabs(here) >= std::fabs(remainder)) continue;
        meet = i;
        remainder = here;
    }
    z[meet] = 1.0;
    double sum = 1.0;
    for (int i = meet - 1; i >= 0; --i) {
        z[i] = -e[i] * z[i + 1] / top[i];
        sum += z[i] * z[i];
    }
    for (int i = meet + 1; i < n; ++i) {
        z[i] = -e[i - 1] * z[i - 1] / bottom[i];
        sum += z[i] * z[i];
    }
    const double factor = 1.0 / std::sqrt(sum);
    for (int i = 0; i < n; ++i) z[i] *= factor;
    return remainder / sum;
}

void CountEigenvalues(const CountedMatrices& matrices, const std::array<double, kCounts>& shifts,
                      EigenvalueCounts& counts) {
    RunCount({&matrices, shifts.data(), &counts});
}

}  // namespace kiv
