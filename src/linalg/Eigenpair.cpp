#include "linalg/Eigenpair.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/Simd.h"

namespace kiv {
namespace {

static_assert(sizeof(Vec4) == kPairLanes * sizeof(double));

constexpr double kLeastPivot = 1e-290;  // its inverse times a matrix element is still a number

// Row i of all lanes.
KIV_INLINE void GetRow(Vec4& row, const double* lanes, int i) {
    LoadVec(row, lanes + std::ptrdiff_t{i} * kPairLanes);
}

KIV_INLINE void PutRow(double* lanes, int i, const Vec4& row) {
    StoreVec(lanes + std::ptrdiff_t{i} * kPairLanes, row);
}

KIV_INLINE void KeepFromZero(Vec4& pivot) { pivot = pivot == 0.0 ? Vec4{} + kLeastPivot : pivot; }

struct QuotientRun {
    const TridiagonalMatrix* matrix;
    const double* z;
    double* value;
};

// Vec names the instruction set alone, as in all kernels here: there are four lanes.
template <class>
KIV_INLINE void RunQuotientBody(const QuotientRun& run) {
    const TridiagonalMatrix& matrix = *run.matrix;
    Vec4 diagonal = {}, beside = {}, above = {};
    for (int i = 0; i < matrix.n; ++i) {
        Vec4 z;
        GetRow(z, run.z, i);
        diagonal += matrix.d[i] * (z * z);
        if (i > 0) beside += matrix.e[i - 1] * (above * z);
        above = z;
    }
    StoreVec(run.value, diagonal + 2.0 * beside);
}

KIV_KERNEL(RunQuotient, QuotientRun)

struct ImproveRun {
    const TridiagonalMatrix* matrix;
    const double* value;
    double *top, *bottom;  // pivots from either end
    double* z;
    double* change;
};

template <class>
KIV_INLINE void RunImproveBody(const ImproveRun& run) {
    const int n = run.matrix->n;
    const double *d = run.matrix->d, *e = run.matrix->e;
    Vec4 value;
    LoadVec(value, run.value);

    // what row i of z is of row i + 1 (top), or row i + 1 of row i (bottom), apart from the sign
    Vec4 down = d[0] - value, up = d[n - 1] - value;
    KeepFromZero(down);
    KeepFromZero(up);
    PutRow(run.bottom, n - 1, up);
    for (int i = 0, j = n - 2; j >= 0; ++i, --j) {
        const Vec4 from_top = e[i] / down, from_bottom = e[j] / up;
        PutRow(run.top, i, from_top);
        down = (d[i + 1] - value) - e[i] * from_top;
        up = (d[j] - value) - e[j] * from_bottom;
        KeepFromZero(down);
        KeepFromZero(up);
        PutRow(run.z, j + 1, from_bottom);
        PutRow(run.bottom, j, up);
    }

    Vec4 remainder, meet = {};
    GetRow(remainder, run.bottom, 0);
    Vec4 least = remainder < 0.0 ? -remainder : remainder;
    for (int i = 1; i < n; ++i) {
        Vec4 from_bottom, from_top;
        GetRow(from_bottom, run.bottom, i);
        GetRow(from_top, run.top, i - 1);
        const Vec4 here = from_bottom - e[i - 1] * from_top;
        const Vec4 size = here < 0.0 ? -here : here;
        const auto is_less = size < least;
        least = is_less ? size : least;
        remainder = is_less ? here : remainder;
        meet = is_less ? Vec4{} + static_cast<double>(i) : meet;
    }

    // above the row where they meet, from the bottom, then below it, from the top
    const Vec4 one = Vec4{} + 1.0;
    Vec4 z = meet == static_cast<double>(n - 1) ? one : Vec4{};
    PutRow(run.bottom, n - 1, z);
    for (int i = n - 2; i >= 0; --i) {
        Vec4 ratio;
        GetRow(ratio, run.top, i);
        z = meet == static_cast<double>(i) ? one : -(ratio * z);
        PutRow(run.bottom, i, z);
    }
    Vec4 sum = z * z, below = {};
    PutRow(run.z, 0, z);
    Vec4 last = z;
    for (int i = 1; i < n; ++i) {
        const Vec4 before = meet == static_cast<double>(i - 1) ? last : below;
        Vec4 ratio;
        GetRow(ratio, run.z, i);
        below = -(ratio * before);
        GetRow(last, run.bottom, i);
        z = last + below;
        sum += z * z;
        PutRow(run.z, i, z);
    }
    Vec4 size = sum;
    SqrtVec(size);
    const Vec4 factor = 1.0 / size;
    for (int i = 0; i < n; ++i) {
        GetRow(z, run.z, i);
        PutRow(run.z, i, z * factor);
    }
    StoreVec(run.change, remainder / sum);
}

KIV_KERNEL(RunImprove, ImproveRun)

using Counts4 = long long __attribute__((vector_size(32)));
constexpr int kShifts = 4;  // whose pivots do not wait for each other

struct CountRun {
    const LaneMatrices* matrices;
    const double* shifts;  // kShifts
    LaneCounts* counts;
};

template <class>
KIV_INLINE void RunCountBody(const CountRun& run) {
    const LaneMatrices& matrices = *run.matrices;
    Vec4 pivot[kShifts], shift[kShifts];
    Counts4 below[kShifts] = {};
    for (int k = 0; k < kShifts; ++k) {
        pivot[k] = Vec4{} + 1.0;
        shift[k] = Vec4{} + run.shifts[k];
    }
    for (int i = 0; i < matrices.n; ++i) {
        Vec4 d, e2;
        GetRow(d, matrices.d, i);
        GetRow(e2, matrices.e2, i);
        for (int k = 0; k < kShifts; ++k) {
            pivot[k] = (d - shift[k]) - e2 / pivot[k];
            KeepFromZero(pivot[k]);
            below[k] += pivot[k] < 0.0;  // a lane is -1 where it is true
        }
    }
    for (int k = 0; k < kShifts; ++k) {
        for (int b = 0; b < kPairLanes; ++b) {
            run.counts[k][static_cast<std::size_t>(b)] = static_cast<int>(-below[k][b]);
        }
    }
}

KIV_KERNEL(RunCount, CountRun)

}  // namespace

LaneValues RayleighQuotients(const TridiagonalMatrix& matrix, const double* z) {
    LaneValues value;
    RunQuotient({&matrix, z, value.data()});
    return value;
}

LaneValues ImproveEigenpairs(const TridiagonalMatrix& matrix, const LaneValues& values,
                             double* room, double* z) {
    LaneValues change;
    const std::ptrdiff_t n = std::ptrdiff_t{matrix.n} * kPairLanes;
    RunImprove({&matrix, values.data(), room, room + n, z, change.data()});
    return change;
}

void CountEigenvalues(const LaneMatrices& matrices, std::span<const double> shifts,
                      std::span<LaneCounts> counts) {
    for (std::size_t first = 0; first < shifts.size(); first += kShifts) {
        const std::size_t num = std::min<std::size_t>(kShifts, shifts.size() - first);
        if (num == kShifts) {
            RunCount({&matrices, &shifts[first], &counts[first]});
            continue;
        }
        double some[kShifts];
        LaneCounts of_some[kShifts];
        for (std::size_t k = 0; k < kShifts; ++k) some[k] = shifts[first + std::min(k, num - 1)];
        RunCount({&matrices, some, of_some});
        std::copy_n(of_some, num, &counts[first]);
    }
}

}  // namespace kiv
