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

// Counts go down by what comparisons give: a lane of theirs is -1 where it is true.
using Counts4 = long long __attribute__((vector_size(32)));

KIV_INLINE void StoreCounts(LaneCounts& counts, const Counts4& of) {
    for (int k = 0; k < kPairLanes; ++k) {
        counts[static_cast<std::size_t>(k)] = static_cast<int>(of[k]);
    }
}

struct QuotientRun {
    const TridiagonalLanes* matrices;
    EigenpairSet* set;
};

// Vec names the instruction set alone, as in all kernels here: there are four lanes.
template <class>
KIV_INLINE void RunQuotientBody(const QuotientRun& run) {
    const TridiagonalLanes& matrices = *run.matrices;
    Vec4 d, e, z, above;
    GetRow(d, matrices.d, 0);
    GetRow(above, run.set->z, 0);
    Vec4 diagonal = d * (above * above), beside = {};
    for (int i = 1; i < matrices.n; ++i) {
        GetRow(d, matrices.d, i);
        GetRow(e, matrices.e, i - 1);
        GetRow(z, run.set->z, i);
        diagonal += d * (z * z);
        beside += e * (above * z);
        above = z;
    }
    StoreVec(run.set->value.data(), diagonal + 2.0 * beside);
}

KIV_KERNEL(RunQuotient, QuotientRun)

constexpr int kSetsTogether = 2;  // whose pivots do not wait for each other

struct ImproveRun {
    const TridiagonalLanes* matrices;
    EigenpairSet* sets;
    int num;
    double* room;
};

template <int kSets>
KIV_INLINE void ImproveSets(const ImproveRun& run) {
    const int n = run.matrices->n;
    const double *d = run.matrices->d, *e = run.matrices->e;
    EigenpairSet* const sets = run.sets;
    Vec4 value[kSets], down[kSets], up[kSets];
    Counts4 negative[kSets];  // pivots below the row where both ends meet and above it
    double *top[kSets], *bottom[kSets];

    // what row i of z is of row i + 1 (top), or row i + 1 of row i (z), apart from the sign; the
    // pivots from the bottom
    Vec4 first, last;
    GetRow(first, d, 0);
    GetRow(last, d, n - 1);
    for (int k = 0; k < kSets; ++k) {
        top[k] = run.room + std::ptrdiff_t{2 * k} * n * kPairLanes;
        bottom[k] = top[k] + std::ptrdiff_t{n} * kPairLanes;
        negative[k] = Counts4{};
        LoadVec(value[k], sets[k].value.data());
        down[k] = first - value[k];
        up[k] = last - value[k];
        KeepFromZero(down[k]);
        KeepFromZero(up[k]);
        PutRow(bottom[k], n - 1, up[k]);
    }
    for (int i = 0, j = n - 2; j >= 0; ++i, --j) {
        Vec4 of_top, of_bottom, below, above;
        GetRow(of_top, e, i);
        GetRow(of_bottom, e, j);
        GetRow(below, d, i + 1);
        GetRow(above, d, j);
        for (int k = 0; k < kSets; ++k) {
            negative[k] -= up[k] < 0.0;
            const Vec4 from_top = of_top / down[k], from_bottom = of_bottom / up[k];
            PutRow(top[k], i, from_top);
            down[k] = (below - value[k]) - of_top * from_top;
            up[k] = (above - value[k]) - of_bottom * from_bottom;
            KeepFromZero(down[k]);
            KeepFromZero(up[k]);
            PutRow(sets[k].z, j + 1, from_bottom);
            PutRow(bottom[k], j, up[k]);
        }
    }

    Vec4 remainder[kSets], least[kSets], meet[kSets];
    Counts4 below_it[kSets];
    for (int k = 0; k < kSets; ++k) {
        GetRow(remainder[k], bottom[k], 0);
        least[k] = remainder[k] < 0.0 ? -remainder[k] : remainder[k];
        meet[k] = Vec4{};
        below_it[k] = negative[k];
    }
    for (int i = 1; i < n; ++i) {
        Vec4 beside;
        GetRow(beside, e, i - 1);
        const Vec4 row = Vec4{} + static_cast<double>(i);
        for (int k = 0; k < kSets; ++k) {
            Vec4 from_bottom, from_top;
            GetRow(from_bottom, bottom[k], i);
            GetRow(from_top, top[k], i - 1);
            const Vec4 here = from_bottom - beside * from_top;
            negative[k] += from_bottom < 0.0;
            negative[k] -=
                (reinterpret_cast<Counts4>(from_top) ^ reinterpret_cast<Counts4>(beside)) < 0;
            const Vec4 size = here < 0.0 ? -here : here;
            const auto is_less = size < least[k];
            least[k] = is_less ? size : least[k];
            remainder[k] = is_less ? here : remainder[k];
            meet[k] = is_less ? row : meet[k];
            below_it[k] = is_less ? negative[k] : below_it[k];
        }
    }

    // above the row where they meet, from the bottom, then below it, from the top
    const Vec4 one = Vec4{} + 1.0;
    Vec4 z[kSets], before[kSets], sum[kSets];
    for (int k = 0; k < kSets; ++k) {
        z[k] = meet[k] == static_cast<double>(n - 1) ? one : Vec4{};
        PutRow(bottom[k], n - 1, z[k]);
    }
    for (int i = n - 2; i >= 0; --i) {
        for (int k = 0; k < kSets; ++k) {
            Vec4 ratio;
            GetRow(ratio, top[k], i);
            z[k] = meet[k] == static_cast<double>(i) ? one : -(ratio * z[k]);
            PutRow(bottom[k], i, z[k]);
        }
    }
    for (int k = 0; k < kSets; ++k) {
        sum[k] = z[k] * z[k];
        before[k] = meet[k] == 0.0 ? one : Vec4{};
        PutRow(sets[k].z, 0, z[k]);
    }
    for (int i = 1; i < n; ++i) {
        for (int k = 0; k < kSets; ++k) {
            Vec4 ratio, above;
            GetRow(ratio, sets[k].z, i);
            const Vec4 below = -(ratio * before[k]);
            GetRow(above, bottom[k], i);
            z[k] = above + below;
            before[k] = meet[k] == static_cast<double>(i) ? above : below;
            sum[k] += z[k] * z[k];
            PutRow(sets[k].z, i, z[k]);
        }
    }
    for (int k = 0; k < kSets; ++k) {
        remainder[k] = remainder[k] == kLeastPivot ? Vec4{} : remainder[k];
        const Vec4 change = remainder[k] / sum[k];
        StoreVec(sets[k].change.data(), change);
        StoreVec(sets[k].value.data(), value[k] + change);
        StoreCounts(sets[k].below, below_it[k]);
        SqrtVec(sum[k]);
        const Vec4 factor = 1.0 / sum[k];
        for (int i = 0; i < n; ++i) {
            GetRow(z[k], sets[k].z, i);
            PutRow(sets[k].z, i, z[k] * factor);
        }
    }
}

template <class>
KIV_INLINE void RunImproveBody(const ImproveRun& run) {
    if (run.num == kSetsTogether) return ImproveSets<kSetsTogether>(run);
    ImproveSets<1>(run);
}

KIV_KERNEL(RunImprove, ImproveRun)

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
            below[k] -= pivot[k] < 0.0;
        }
    }
    for (int k = 0; k < kShifts; ++k) StoreCounts(run.counts[k], below[k]);
}

KIV_KERNEL(RunCount, CountRun)

}  // namespace

void SetRayleighQuotients(const TridiagonalLanes& matrices, std::span<EigenpairSet> sets) {
    for (EigenpairSet& set : sets) RunQuotient({&matrices, &set});
}

void ImproveEigenpairs(const TridiagonalLanes& matrices, std::span<EigenpairSet> sets,
                       double* room) {
    while (!sets.empty()) {
        const std::size_t num = std::min<std::size_t>(kSetsTogether, sets.size());
        RunImprove({&matrices, sets.data(), static_cast<int>(num), room});
        sets = sets.subspan(num);
    }
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
