#include "linalg/Tridiagonal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "base/Simd.h"
#include "linalg/Eispack.h"

namespace kiv {
namespace {

constexpr double kZero = 1e-11;  // of the norm

// One sweep of QL on all lanes, from the last row to row `first`. Where an element beside the
// diagonal is 0 the rows above it come out as they were: lanes whose eigenvalue at hand is further
// down have zeros there.
struct LaneSweep {
    const LaneMatrices* matrices;
    int first;
    const double* shift;
};

// Vec names the instruction set alone: there are four lanes.
template <class>
KIV_INLINE void RunLaneSweepBody(const LaneSweep& sweep) {
    static_assert(sizeof(Vec4) == kPairLanes * sizeof(double));
    constexpr double kLeast = 1e-290;     // keeps quotients of zeros numbers
    constexpr double kNoCosine = 1e-200;  // below it a cosine has lost its digits
    Vec4 shift, d;
    LoadVec(shift, sweep.shift);
    double* at = sweep.matrices->d + std::ptrdiff_t{sweep.matrices->n - 1} * kPairLanes;
    double* square_at = sweep.matrices->e2 + (at - sweep.matrices->d);
    LoadVec(d, at);
    Vec4 c = Vec4{} + 1.0, s = {}, gamma = d - shift, p = gamma * gamma + kLeast;
    for (int i = sweep.matrices->n - 2; i >= sweep.first; --i) {
        Vec4 square;
        LoadVec(square, square_at);
        const Vec4 r = p + square, inverse = r / p;
        const Vec4 last_c = c, last_gamma = gamma;
        if (i < sweep.matrices->n - 2) StoreVec(square_at + kPairLanes, s * r);
        c = p / r;
        s = square / r;
        LoadVec(d, at - kPairLanes);
        gamma = c * (d - shift) - s * last_gamma;
        StoreVec(at, last_gamma + (d - gamma));
        p = (c > kNoCosine ? gamma * gamma * inverse : last_c * square) + kLeast;
        at -= kPairLanes;
        square_at -= kPairLanes;
    }
    StoreVec(square_at + kPairLanes, s * p);
    StoreVec(at, shift + gamma);
}

KIV_KERNEL(RunLaneSweep, LaneSweep)

// The eigenvalues of a lane, one after the other from the first row down.
struct LaneState {
    int row = 0;  // of the eigenvalue at hand
    double norm = 0.0;
};

// Passes over the eigenvalues that are there; their elements beside the diagonal become 0.
void SkipConverged(const LaneMatrices& matrices, std::size_t lane, LaneState& state) {
    const double zero = (kZero * state.norm) * (kZero * state.norm);
    for (; state.row + 1 < matrices.n; ++state.row) {
        double& e2 = matrices.e2[static_cast<std::size_t>(state.row + 1) * kPairLanes + lane];
        if (e2 > zero) return;
        e2 = 0.0;
    }
}

// The eigenvalue of the next two rows that is closer to the first one.
double ShiftOf(const LaneMatrices& matrices, std::size_t lane, const LaneState& state) {
    const std::size_t at = static_cast<std::size_t>(state.row) * kPairLanes + lane;
    if (state.row + 1 >= matrices.n) return 0.0;  // nothing is left to do, nothing is rounded
    const double root = std::sqrt(matrices.e2[at + kPairLanes]);
    const double half = (matrices.d[at + kPairLanes] - matrices.d[at]) / (2.0 * root);
    return matrices.d[at] - root / (half + SignTransfer(std::sqrt(half * half + 1.0), half));
}

}  // namespace

void TridiagonalValues(const LaneMatrices& matrices) {
    const int n = matrices.n;
    std::array<LaneState, kPairLanes> states;
    for (int i = 0; i < n * kPairLanes; ++i) {
        double& norm = states[static_cast<std::size_t>(i % kPairLanes)].norm;
        norm = std::max(norm, std::fabs(matrices.d[i]) + 2.0 * std::sqrt(matrices.e2[i]));
    }
    for (int left = kQlMaxIterations * n; left > 0; --left) {
        LaneValues shift;
        int first = n;
        for (std::size_t k = 0; k < kPairLanes; ++k) {
            SkipConverged(matrices, k, states[k]);
            shift[k] = ShiftOf(matrices, k, states[k]);
            first = std::min(first, states[k].row);
        }
        if (first + 1 >= n) return;
        RunLaneSweep({&matrices, first, shift.data()});
    }
}

}  // namespace kiv
